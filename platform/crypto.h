#pragma once

// Hashing and random bytes through bcrypt.

#include "platform/types.h"

#include <cstdint>

namespace vorn::platform {

struct BCryptAlgorithmObject;
struct BCryptHashObject;
using BCRYPT_ALG_HANDLE = BCryptAlgorithmObject*;
using BCRYPT_HASH_HANDLE = BCryptHashObject*;

inline constexpr char16_t BCRYPT_SHA256_ALGORITHM[] = u"SHA256";
inline constexpr char16_t BCRYPT_OBJECT_LENGTH[] = u"ObjectLength";
inline constexpr char16_t BCRYPT_HASH_LENGTH[] = u"HashDigestLength";
inline constexpr std::uint32_t BCRYPT_USE_SYSTEM_PREFERRED_RNG = 0x2;

/// Opens an algorithm without implementation name or flags (BCryptOpenAlgorithmProvider). 0 on
/// success; the caller closes `*algorithm`.
NTSTATUS BCryptOpenAlgorithmProvider(BCRYPT_ALG_HANDLE* algorithm, const char16_t* name);

/// Closes an algorithm (BCryptCloseAlgorithmProvider).
NTSTATUS BCryptCloseAlgorithmProvider(BCRYPT_ALG_HANDLE algorithm);

/// Reads a property of an algorithm (BCryptGetProperty).
NTSTATUS BCryptGetProperty(BCRYPT_ALG_HANDLE algorithm, const char16_t* name, std::uint8_t* output,
                           std::uint32_t size, std::uint32_t* written);

/// Creates a hash without secret in the caller's `object` of ObjectLength bytes, which must outlive
/// it (BCryptCreateHash). The caller destroys `*hash`.
NTSTATUS BCryptCreateHash(BCRYPT_ALG_HANDLE algorithm, BCRYPT_HASH_HANDLE* hash,
                          std::uint8_t* object, std::uint32_t objectSize);

/// Feeds bytes to a hash (BCryptHashData).
NTSTATUS BCryptHashData(BCRYPT_HASH_HANDLE hash, const std::uint8_t* input, std::uint32_t size);

/// Finishes a hash into `output` (BCryptFinishHash).
NTSTATUS BCryptFinishHash(BCRYPT_HASH_HANDLE hash, std::uint8_t* output, std::uint32_t size);

/// Destroys a hash (BCryptDestroyHash).
NTSTATUS BCryptDestroyHash(BCRYPT_HASH_HANDLE hash);

/// Random bytes (BCryptGenRandom); with a null algorithm and BCRYPT_USE_SYSTEM_PREFERRED_RNG from
/// the system's generator. Negative on failure.
NTSTATUS BCryptGenRandom(BCRYPT_ALG_HANDLE algorithm, std::uint8_t* buffer, std::uint32_t size,
                         std::uint32_t flags);

}  // namespace vorn::platform

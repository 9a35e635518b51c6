#include "platform/crypto.h"

#include "platform/native.h"
#include "platform/windows/system_library.h"

namespace vorn::platform {

namespace {

/// A function of bcrypt.dll, called with the seam's parameters plus flags of 0.
template <class Function, class... Values>
NTSTATUS CallBCrypt(const windows::SystemFunction<Function>& function, Values... values) {
  // 0xC0000139 is STATUS_ENTRYPOINT_NOT_FOUND.
  return function.Get() == nullptr ? static_cast<NTSTATUS>(0xC0000139) : function.Get()(values...);
}

constexpr wchar_t kLibrary[] = L"bcrypt.dll";

}  // namespace

NTSTATUS BCryptOpenAlgorithmProvider(BCRYPT_ALG_HANDLE* algorithm, const char16_t* name) {
  static const windows::SystemFunction<NTSTATUS(WINAPI*)(BCRYPT_ALG_HANDLE*, const char16_t*,
                                                         const char16_t*, ULONG)>
      function(kLibrary, "BCryptOpenAlgorithmProvider");
  return CallBCrypt(function, algorithm, name, static_cast<const char16_t*>(nullptr), 0UL);
}

NTSTATUS BCryptCloseAlgorithmProvider(BCRYPT_ALG_HANDLE algorithm) {
  static const windows::SystemFunction<NTSTATUS(WINAPI*)(BCRYPT_ALG_HANDLE, ULONG)> function(
      kLibrary, "BCryptCloseAlgorithmProvider");
  return CallBCrypt(function, algorithm, 0UL);
}

NTSTATUS BCryptGetProperty(BCRYPT_ALG_HANDLE algorithm, const char16_t* name, std::uint8_t* output,
                           std::uint32_t size, std::uint32_t* written) {
  static const windows::SystemFunction<NTSTATUS(WINAPI*)(
      BCRYPT_ALG_HANDLE, const char16_t*, std::uint8_t*, ULONG, std::uint32_t*, ULONG)>
      function(kLibrary, "BCryptGetProperty");
  return CallBCrypt(function, algorithm, name, output, size, written, 0UL);
}

NTSTATUS BCryptCreateHash(BCRYPT_ALG_HANDLE algorithm, BCRYPT_HASH_HANDLE* hash,
                          std::uint8_t* object, std::uint32_t objectSize) {
  static const windows::SystemFunction<NTSTATUS(WINAPI*)(
      BCRYPT_ALG_HANDLE, BCRYPT_HASH_HANDLE*, std::uint8_t*, ULONG, std::uint8_t*, ULONG, ULONG)>
      function(kLibrary, "BCryptCreateHash");
  return CallBCrypt(function, algorithm, hash, object, objectSize,
                    static_cast<std::uint8_t*>(nullptr), 0UL, 0UL);
}

NTSTATUS BCryptHashData(BCRYPT_HASH_HANDLE hash, const std::uint8_t* input, std::uint32_t size) {
  static const windows::SystemFunction<NTSTATUS(WINAPI*)(BCRYPT_HASH_HANDLE, std::uint8_t*, ULONG,
                                                         ULONG)>
      function(kLibrary, "BCryptHashData");
  return CallBCrypt(function, hash, const_cast<std::uint8_t*>(input), size, 0UL);
}

NTSTATUS BCryptFinishHash(BCRYPT_HASH_HANDLE hash, std::uint8_t* output, std::uint32_t size) {
  static const windows::SystemFunction<NTSTATUS(WINAPI*)(BCRYPT_HASH_HANDLE, std::uint8_t*, ULONG,
                                                         ULONG)>
      function(kLibrary, "BCryptFinishHash");
  return CallBCrypt(function, hash, output, size, 0UL);
}

NTSTATUS BCryptDestroyHash(BCRYPT_HASH_HANDLE hash) {
  static const windows::SystemFunction<NTSTATUS(WINAPI*)(BCRYPT_HASH_HANDLE)> function(
      kLibrary, "BCryptDestroyHash");
  return CallBCrypt(function, hash);
}

NTSTATUS BCryptGenRandom(BCRYPT_ALG_HANDLE algorithm, std::uint8_t* buffer, std::uint32_t size,
                         std::uint32_t flags) {
  static const windows::SystemFunction<NTSTATUS(WINAPI*)(BCRYPT_ALG_HANDLE, std::uint8_t*, ULONG,
                                                         ULONG)>
      function(kLibrary, "BCryptGenRandom");
  return CallBCrypt(function, algorithm, buffer, size, flags);
}

}  // namespace vorn::platform

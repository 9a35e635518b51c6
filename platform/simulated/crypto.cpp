#include "platform/crypto.h"

#include "base/text.h"
#include "platform/simulated/calls.h"
#include "platform/simulated/crypto_model.h"
#include "platform/simulated/native_values.h"
#include "platform/simulated/process.h"

#include <array>
#include <cstring>
#include <memory>
#include <openssl/evp.h>

namespace vorn::platform {

namespace simulated {

namespace {

// Assumed: a hash object has 326 bytes. Question: what does BCryptGetProperty report for
// ObjectLength?
constexpr std::uint32_t kHashObjectBytes = 326;
// Documented: a SHA-256 digest has 32 bytes.
constexpr std::uint32_t kSha256Bytes = 32;

class AlgorithmObject : public Object {};

/// A running SHA-256.
class Sha256Object : public Object {
 public:
  Sha256Object() : context_(EVP_MD_CTX_new(), &EVP_MD_CTX_free) {
    EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr);
  }

  bool IsFinished() const { return finished_; }

  void Add(const std::uint8_t* bytes, std::size_t size) {
    EVP_DigestUpdate(context_.get(), bytes, size);
  }

  void Finish(std::uint8_t* digest) {
    EVP_DigestFinal_ex(context_.get(), digest, nullptr);
    finished_ = true;
  }

 private:
  std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context_;
  bool finished_ = false;
};

std::shared_ptr<Sha256Object> FindHash(BCRYPT_HASH_HANDLE hash) {
  return Process::Current().Find<Sha256Object>(ObjectKind::Hash,
                                               reinterpret_cast<std::uintptr_t>(hash));
}

bool IsAlgorithm(BCRYPT_ALG_HANDLE algorithm) {
  return Process::Current().Find<AlgorithmObject>(
             ObjectKind::Hash, reinterpret_cast<std::uintptr_t>(algorithm)) != nullptr;
}

NTSTATUS CloseObject(bool known, std::uintptr_t value) {
  if (!known) return STATUS_INVALID_HANDLE;
  Process::Current().Remove(ObjectKind::Hash, value);
  return STATUS_SUCCESS;
}

/// The next number of the machine's generator (SplitMix64). Ours: random bytes are identical on
/// every run from the same machine.
std::uint64_t NextRandom(std::uint64_t& state) {
  state += 0x9E3779B97F4A7C15;
  std::uint64_t value = state;
  value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9;
  value = (value ^ (value >> 27)) * 0x94D049BB133111EB;
  return value ^ (value >> 31);
}

void FillRandom(std::uint64_t& state, std::uint8_t* buffer, std::uint32_t size) {
  std::uint64_t number = 0;
  for (std::uint32_t i = 0; i < size; ++i) {
    if (i % sizeof number == 0) number = NextRandom(state);
    buffer[i] = static_cast<std::uint8_t>(number >> 8 * (i % sizeof number));
  }
}

}  // namespace

std::string Sha256Hex(const Bytes& content) {
  std::array<std::uint8_t, kSha256Bytes> digest = {};
  Sha256Object hash;
  hash.Add(content.data(), content.size());
  hash.Finish(digest.data());
  std::string text;
  for (const std::uint8_t byte : digest) {
    text.push_back("0123456789abcdef"[byte >> 4]);
    text.push_back("0123456789abcdef"[byte & 0xF]);
  }
  return text;
}

}  // namespace simulated

using namespace simulated;

NTSTATUS BCryptOpenAlgorithmProvider(BCRYPT_ALG_HANDLE* algorithm, const char16_t* name) {
  return SimulateCode<NTSTATUS>(
      "BCryptOpenAlgorithmProvider", Arguments("AlgId", name), [&](const CallFaults&) -> NTSTATUS {
        if (algorithm == nullptr || name == nullptr) return STATUS_INVALID_PARAMETER;
        if (std::u16string_view(name) != BCRYPT_SHA256_ALGORITHM) return STATUS_NOT_FOUND;
        *algorithm = reinterpret_cast<BCRYPT_ALG_HANDLE>(
            Process::Current().Add(ObjectKind::Hash, std::make_shared<AlgorithmObject>()));
        return STATUS_SUCCESS;
      });
}

NTSTATUS BCryptCloseAlgorithmProvider(BCRYPT_ALG_HANDLE algorithm) {
  return SimulateCode<NTSTATUS>(
      "BCryptCloseAlgorithmProvider", Arguments("Algorithm", algorithm), [&](const CallFaults&) {
        return CloseObject(IsAlgorithm(algorithm), reinterpret_cast<std::uintptr_t>(algorithm));
      });
}

NTSTATUS BCryptGetProperty(BCRYPT_ALG_HANDLE algorithm, const char16_t* name, std::uint8_t* output,
                           std::uint32_t size, std::uint32_t* written) {
  return SimulateCode<NTSTATUS>(
      "BCryptGetProperty", Arguments("Object", algorithm, "Property", name, "OutputSize", size),
      [&](const CallFaults&) -> NTSTATUS {
        if (!IsAlgorithm(algorithm)) return STATUS_INVALID_HANDLE;
        if (name == nullptr || written == nullptr) return STATUS_INVALID_PARAMETER;
        const std::u16string_view property = name;
        const bool known = property == BCRYPT_OBJECT_LENGTH || property == BCRYPT_HASH_LENGTH;
        if (!known) return STATUS_NOT_SUPPORTED;
        const std::uint32_t value =
            property == BCRYPT_OBJECT_LENGTH ? kHashObjectBytes : kSha256Bytes;
        *written = sizeof value;
        if (output == nullptr) return STATUS_SUCCESS;
        if (size < sizeof value) return STATUS_BUFFER_TOO_SMALL;
        std::memcpy(output, &value, sizeof value);
        return STATUS_SUCCESS;
      });
}

NTSTATUS BCryptCreateHash(BCRYPT_ALG_HANDLE algorithm, BCRYPT_HASH_HANDLE* hash,
                          std::uint8_t* object, std::uint32_t objectSize) {
  return SimulateCode<NTSTATUS>(
      "BCryptCreateHash", Arguments("Algorithm", algorithm, "ObjectSize", objectSize),
      [&](const CallFaults&) -> NTSTATUS {
        if (!IsAlgorithm(algorithm)) return STATUS_INVALID_HANDLE;
        if (hash == nullptr) return STATUS_INVALID_PARAMETER;
        // Assumed: a size without a hash object is refused. Question: what does BCryptCreateHash
        // return for a null object with a size?
        if (object == nullptr && objectSize != 0) return STATUS_INVALID_PARAMETER;
        // Documented: Windows 7 and later allocate the hash object themselves when none is passed.
        const bool ownObject = object == nullptr && objectSize == 0;
        if (!ownObject && objectSize < kHashObjectBytes) return STATUS_BUFFER_TOO_SMALL;
        // Documented: the hash lives in the object. Writing to all of it finds one that is smaller
        // than its size says.
        if (!ownObject) std::fill_n(object, objectSize, std::uint8_t{0xA5});
        *hash = reinterpret_cast<BCRYPT_HASH_HANDLE>(
            Process::Current().Add(ObjectKind::Hash, std::make_shared<Sha256Object>()));
        return STATUS_SUCCESS;
      });
}

NTSTATUS BCryptHashData(BCRYPT_HASH_HANDLE hash, const std::uint8_t* input, std::uint32_t size) {
  return SimulateCode<NTSTATUS>("BCryptHashData", Arguments("Hash", hash, "Size", size),
                                [&](const CallFaults&) -> NTSTATUS {
                                  const auto found = FindHash(hash);
                                  // Documented: a finished hash accepts no more data.
                                  if (!found || found->IsFinished()) return STATUS_INVALID_HANDLE;
                                  if (input == nullptr && size != 0)
                                    return STATUS_INVALID_PARAMETER;
                                  found->Add(input, size);
                                  return STATUS_SUCCESS;
                                });
}

NTSTATUS BCryptFinishHash(BCRYPT_HASH_HANDLE hash, std::uint8_t* output, std::uint32_t size) {
  return SimulateCode<NTSTATUS>("BCryptFinishHash", Arguments("Hash", hash, "OutputSize", size),
                                [&](const CallFaults&) -> NTSTATUS {
                                  const auto found = FindHash(hash);
                                  if (!found || found->IsFinished()) return STATUS_INVALID_HANDLE;
                                  // Documented: BCryptFinishHash takes exactly the digest's size.
                                  if (output == nullptr || size != kSha256Bytes) {
                                    return STATUS_INVALID_PARAMETER;
                                  }
                                  found->Finish(output);
                                  return STATUS_SUCCESS;
                                });
}

NTSTATUS BCryptDestroyHash(BCRYPT_HASH_HANDLE hash) {
  return SimulateCode<NTSTATUS>(
      "BCryptDestroyHash", Arguments("Hash", hash), [&](const CallFaults&) {
        return CloseObject(FindHash(hash) != nullptr, reinterpret_cast<std::uintptr_t>(hash));
      });
}

NTSTATUS BCryptGenRandom(BCRYPT_ALG_HANDLE algorithm, std::uint8_t* buffer, std::uint32_t size,
                         std::uint32_t flags) {
  return SimulateCode<NTSTATUS>(
      "BCryptGenRandom", Arguments("Algorithm", algorithm, "Size", size, "Flags", Hex{flags}),
      [&](const CallFaults&) -> NTSTATUS {
        // Documented: without an algorithm, BCryptGenRandom needs the flag for the system's own
        // generator.
        if (algorithm != nullptr || flags != BCRYPT_USE_SYSTEM_PREFERRED_RNG) {
          return STATUS_INVALID_HANDLE;
        }
        if (buffer == nullptr) return STATUS_INVALID_PARAMETER;
        FillRandom(Process::Current().TheMachine().randomState, buffer, size);
        return STATUS_SUCCESS;
      });
}

}  // namespace vorn::platform

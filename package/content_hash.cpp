#include "package/content_hash.h"

#include "base/text.h"
#include "platform/crypto.h"
#include "platform/files.h"
#include "platform/owners.h"
#include "privileged_input/file.h"
#include "privileged_input/file_transfer.h"

#include <cstdint>
#include <vector>

namespace vorn {

namespace {

using privileged_input::File;

constexpr std::uint32_t kChunkBytes = 65536;
constexpr std::size_t kSha256Bytes = 32;

/// One SHA-256 calculation. The hash object uses our buffer and the algorithm, so it is declared
/// last and destroyed first.
class Sha256 {
 public:
  bool Begin() {
    if (platform::BCryptOpenAlgorithmProvider(algorithm_.Receive(),
                                              platform::BCRYPT_SHA256_ALGORITHM) != 0) {
      return false;
    }
    const std::optional<std::uint32_t> objectLength = ReadLength(platform::BCRYPT_OBJECT_LENGTH);
    if (!objectLength) return false;
    const std::optional<std::uint32_t> digestLength = ReadLength(platform::BCRYPT_HASH_LENGTH);
    if (!digestLength) return false;
    object_.assign(*objectLength, 0);
    digest_.assign(*digestLength, 0);
    return platform::BCryptCreateHash(algorithm_.Get(), hash_.Receive(), object_.data(),
                                      *objectLength) == 0;
  }

  bool Add(const std::uint8_t* bytes, std::uint32_t size) {
    return platform::BCryptHashData(hash_.Get(), bytes, size) == 0;
  }

  bool Finish() {
    return platform::BCryptFinishHash(hash_.Get(), digest_.data(),
                                      static_cast<std::uint32_t>(digest_.size())) == 0 &&
           digest_.size() == kSha256Bytes;
  }

  const std::vector<std::uint8_t>& Digest() const { return digest_; }

 private:
  std::optional<std::uint32_t> ReadLength(const char16_t* property) const {
    std::uint32_t length = 0;
    std::uint32_t written = 0;
    if (platform::BCryptGetProperty(algorithm_.Get(), property,
                                    reinterpret_cast<std::uint8_t*>(&length), sizeof length,
                                    &written) != 0) {
      return std::nullopt;
    }
    return length;
  }

  platform::HashAlgorithm algorithm_;
  std::vector<std::uint8_t> object_;
  std::vector<std::uint8_t> digest_;
  platform::HashObject hash_;
};

/// Nobody else can write to a verified file, so reading more or less than its size is an error.
bool AddWholeFile(const File& file, Sha256& hash) {
  std::uint8_t* const chunk = privileged_input::ZeroedTransferBuffer(kChunkBytes);
  std::uint64_t total = 0;
  while (true) {
    std::uint32_t read = 0;
    if (!platform::ReadFile(file.Handle(), chunk, kChunkBytes, &read)) return false;
    if (read == 0) return total == file.Size();
    if (!hash.Add(chunk, read)) return false;
    total += read;
  }
}

}  // namespace

std::optional<std::u16string> HashFileSha256(const File& file) {
  if (!file || !privileged_input::SeekToStart(file.Handle())) return std::nullopt;
  Sha256 hash;
  if (!hash.Begin() || !AddWholeFile(file, hash) || !hash.Finish()) return std::nullopt;
  return ToHexText(hash.Digest());
}

bool IsSha256Text(std::u16string_view text) {
  return text.size() == 2 * kSha256Bytes && IsHexText(text);
}

}  // namespace vorn

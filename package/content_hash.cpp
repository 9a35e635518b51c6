#include "package/content_hash.h"

#include "platform/crypto.h"
#include "platform/files.h"
#include "platform/owners.h"
#include "privileged_input/file.h"
#include "privileged_input/protected_files.h"

#include <cstdint>
#include <vector>

namespace vorn {

namespace {

using privileged_input::File;

constexpr std::uint32_t kChunkBytes = 65536;
constexpr std::size_t kSha256Bytes = 32;

/// One SHA-256 calculation. The hash works in memory of ours, so it goes before that memory, and
/// before its algorithm.
class Sha256 {
 public:
  bool Begin() {
    if (platform::BCryptOpenAlgorithmProvider(algorithm_.Receive(),
                                              platform::BCRYPT_SHA256_ALGORITHM) != 0) {
      return false;
    }
    std::uint32_t objectLength = 0;
    std::uint32_t digestLength = 0;
    if (!ReadLength(platform::BCRYPT_OBJECT_LENGTH, objectLength) ||
        !ReadLength(platform::BCRYPT_HASH_LENGTH, digestLength)) {
      return false;
    }
    object_.assign(objectLength, 0);
    digest_.assign(digestLength, 0);
    return platform::BCryptCreateHash(algorithm_.Get(), hash_.Receive(), object_.data(),
                                      objectLength) == 0;
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
  bool ReadLength(const char16_t* property, std::uint32_t& length) {
    std::uint32_t written = 0;
    return platform::BCryptGetProperty(algorithm_.Get(), property,
                                       reinterpret_cast<std::uint8_t*>(&length), sizeof(length),
                                       &written) == 0;
  }

  HashAlgorithm algorithm_;
  std::vector<std::uint8_t> object_;
  std::vector<std::uint8_t> digest_;
  HashObject hash_;
};

/// Nobody else can write to a verified file, so that its size cannot change: an end before it or
/// after it is a wrong answer, and the hash of another content.
bool AddWholeFile(const File& file, Sha256& hash) {
  std::vector<std::uint8_t> chunk(kChunkBytes);
  std::uint64_t total = 0;
  while (true) {
    std::uint32_t read = 0;
    if (!platform::ReadFile(file.Handle(), chunk.data(), kChunkBytes, &read)) return false;
    if (read == 0) return total == file.Size();
    if (!hash.Add(chunk.data(), read)) return false;
    total += read;
  }
}

std::u16string ToHex(const std::vector<std::uint8_t>& bytes) {
  constexpr char16_t kDigits[] = u"0123456789abcdef";
  std::u16string text;
  text.reserve(2 * bytes.size());
  for (const std::uint8_t byte : bytes) {
    text.push_back(kDigits[byte >> 4]);
    text.push_back(kDigits[byte & 0xF]);
  }
  return text;
}

}  // namespace

bool HashFileSha256(const std::u16string& path, const File* file, std::u16string& hexDigest) {
  hexDigest.clear();
  const File input = file != nullptr && *file ? *file : privileged_input::OpenInputFile(path);
  if (!input || !platform::SetFilePointerEx(input.Handle(), 0, nullptr, platform::FILE_BEGIN)) {
    return false;
  }
  Sha256 hash;
  if (!hash.Begin() || !AddWholeFile(input, hash) || !hash.Finish()) return false;
  hexDigest = ToHex(hash.Digest());
  return true;
}

bool IsSha256Text(std::u16string_view text) {
  return text.size() == 2 * kSha256Bytes &&
         text.find_first_not_of(u"0123456789abcdefABCDEF") == std::u16string_view::npos;
}

}  // namespace vorn

// vorn_bench.exe, for bench/run: a piece of the program's work, and beside it the least that any
// program would have to do for the same.
//
// usage: vorn_bench hash FILE
//        vorn_bench reference-hash FILE

#include "bench/windows/ours.h"

// clang-format off
#include <windows.h>  // first: it defines the types of the other
#include <bcrypt.h>
// clang-format on
#include <cstdio>
#include <string>
#include <vector>

namespace {

constexpr DWORD kBufferBytes = 64 * 1024;

using Bytes = std::vector<unsigned char>;

class Sha256 {
 public:
  Sha256() {
    BCryptOpenAlgorithmProvider(&algorithm_, L"SHA256", nullptr, 0);
    BCryptCreateHash(algorithm_, &hash_, nullptr, 0, nullptr, 0, 0);
  }
  ~Sha256() {
    unsigned char digest[32];
    BCryptFinishHash(hash_, digest, sizeof digest, 0);
    BCryptDestroyHash(hash_);
    BCryptCloseAlgorithmProvider(algorithm_, 0);
  }
  Sha256(const Sha256&) = delete;
  Sha256& operator=(const Sha256&) = delete;

  bool Add(unsigned char* bytes, DWORD count) {
    return BCryptHashData(hash_, bytes, count, 0) == 0;
  }

 private:
  BCRYPT_ALG_HANDLE algorithm_ = nullptr;
  BCRYPT_HASH_HANDLE hash_ = nullptr;
};

/// Open, read in a loop, hash: nothing is checked.
bool HashPlainly(const std::wstring& path) {
  const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                  OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  Sha256 hash;
  Bytes buffer(kBufferBytes);
  DWORD read = 0;
  bool sound = true;
  do {
    sound = ReadFile(file, buffer.data(), kBufferBytes, &read, nullptr) != 0 &&
            (read == 0 || hash.Add(buffer.data(), read));
  } while (sound && read != 0);
  CloseHandle(file);
  return sound;
}

std::u16string Ours(const std::wstring& text) {
  return {text.begin(), text.end()};
}

bool Do(const std::vector<std::wstring>& words) {
  if (words[0] == L"hash") return vorn::bench::HashAsTheProgramDoes(Ours(words[1]));
  return words[0] == L"reference-hash" && HashPlainly(words[1]);
}

}  // namespace

int wmain(int count, wchar_t** values) {
  const std::vector<std::wstring> words(values + 1, values + count);
  if (words.size() < 2 || !Do(words)) {
    std::fprintf(stderr, "vorn_bench: failed, last error %lu\n", GetLastError());
    return 1;
  }
  std::puts("done");
  return 0;
}

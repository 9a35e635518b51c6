// vorn_hash: the program's hash of a file on the simulated machine, and beside it OpenSSL's of
// memory and of a file. Prints the processor seconds of the work.
//
// usage: vorn_hash MIB FILE ours|openssl-memory|openssl-file

#include "package/content_hash.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/process.h"
#include "privileged_input/file.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <memory>
#include <openssl/evp.h>
#include <string>
#include <vector>

namespace vorn {
namespace {

namespace model = platform::simulated;
using privileged_input::File;
using privileged_input::FileMode;
using privileged_input::LoadNativeApi;

constexpr std::size_t kMib = 1024 * 1024;
constexpr std::size_t kBufferBytes = 64 * 1024;
constexpr char16_t kPath[] = u"C:\\big.bin";

using Bytes = std::vector<std::uint8_t>;

/// Bytes that no part of the way can shorten.
Bytes Content(std::size_t size) {
  Bytes bytes(size);
  std::uint64_t state = 1;
  for (std::uint8_t& byte : bytes) {
    state = state * 6364136223846793005U + 1442695040888963407U;
    byte = static_cast<std::uint8_t>(state >> 56);
  }
  return bytes;
}

double ProcessorSeconds() {
  return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

class OpenSslHash {
 public:
  OpenSslHash() : context_(EVP_MD_CTX_new(), EVP_MD_CTX_free) {
    EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr);
  }
  void Add(const void* bytes, std::size_t count) { EVP_DigestUpdate(context_.get(), bytes, count); }
  bool Finish() {
    std::uint8_t digest[32];
    return EVP_DigestFinal_ex(context_.get(), digest, nullptr) == 1;
  }

 private:
  std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context_;
};

bool HashMemory(const Bytes& content) {
  OpenSslHash hash;
  hash.Add(content.data(), content.size());
  return hash.Finish();
}

bool HashFile(const std::string& path) {
  OpenSslHash hash;
  std::vector<char> buffer(kBufferBytes);
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"),
                                                             std::fclose);
  if (!file) return false;
  std::setvbuf(file.get(), nullptr, _IONBF, 0);
  while (const std::size_t read = std::fread(buffer.data(), 1, buffer.size(), file.get()))
    hash.Add(buffer.data(), read);
  return hash.Finish();
}

/// Prints what `work` takes; returns the exit status.
template <typename Work>
int Measure(Work work) {
  const double start = ProcessorSeconds();
  if (!work()) return 1;
  std::printf("processor %.6f\n", ProcessorSeconds() - start);
  return 0;
}

int MeasureOurs(Bytes content) {
  model::Machine machine = model::CleanMachine();
  const std::uint64_t size = content.size();
  model::PutFile(machine.files, kPath, std::move(content));
  model::Process process(machine);
  const File file = File::OpenAbsolute(kPath, LoadNativeApi(), size, FileMode::ReadOnly);
  return Measure([&] { return HashFileSha256(file).has_value(); });
}

int Run(std::size_t mib, const std::string& path, const std::string& side) {
  if (side == "openssl-file") {
    if (!std::ifstream(path)) {
      const Bytes content = Content(mib * kMib);
      std::ofstream(path, std::ios::binary)
          .write(reinterpret_cast<const char*>(content.data()),
                 static_cast<std::streamsize>(content.size()));
    }
    HashFile(path);  // so that it is in memory
    return Measure([&] { return HashFile(path); });
  }
  Bytes content = Content(mib * kMib);
  if (side == "ours") return MeasureOurs(std::move(content));
  return Measure([&] { return HashMemory(content); });
}

}  // namespace
}  // namespace vorn

int main(int count, char** values) {
  if (count != 4) return 64;
  return vorn::Run(std::strtoull(values[1], nullptr, 10), values[2], values[3]);
}

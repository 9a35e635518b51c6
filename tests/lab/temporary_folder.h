#pragma once

// A temporary folder of the host, deleted with the object.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>

namespace vorn::lab {

class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string pattern = testing::TempDir() + "vorn-lab-XXXXXX";
    path_ = mkdtemp(pattern.data());
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  /// A path below the folder.
  std::filesystem::path operator/(const std::string& name) const { return path_ / name; }
  std::string Name(const std::string& name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

/// The content of a file of the host; empty when there is none.
inline std::string ReadHostFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline void WriteHostFile(const std::filesystem::path& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

}  // namespace vorn::lab

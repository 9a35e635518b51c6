#pragma once

// A package on the small machine, and looks at the snapshot that is taken of it.

#include "base/text.h"
#include "tests/privileged_input/input_test.h"

#include <cstddef>
#include <gtest/gtest.h>
#include <string>
#include <string_view>

namespace vorn::privileged_input {

inline constexpr char16_t kInf[] = u"C:\\pkg\\driver\\vorn_audio.inf";
inline constexpr char16_t kFolder[] = u"C:\\pkg\\driver\\";

/// Drive C: with a package of four files in C:\pkg\driver and a file beside it.
class PackageSnapshot : public tests::InputTest {
 protected:
  PackageSnapshot() {
    sim::PutFile(Files(), kInf, "the inf");
    sim::PutFile(Files(), u"C:\\pkg\\driver\\vorn_audio.cat", "the catalog");
    sim::PutFile(Files(), u"C:\\pkg\\driver\\x64\\vorn_audio.sys", "the driver");
    sim::PutFile(Files(), u"C:\\pkg\\driver\\x64\\deep\\notes.txt", "");
    sim::PutFile(Files(), u"C:\\pkg\\beside.txt", "not part of the package");
  }

  /// The folder of the only snapshot.
  std::u16string CopyFolder() {
    const auto names = sim::ListFolder(Files(), u"C:\\Temp");
    EXPECT_EQ(names.size(), 1U);
    return names.empty() ? u"" : u"C:\\Temp\\" + names[0];
  }
  std::string Content(std::u16string_view path) {
    const auto bytes = sim::ReadWholeFile(Files(), path);
    return bytes ? std::string(bytes->begin(), bytes->end()) : "(no file)";
  }
  void ExpectNothingLeft() {
    EXPECT_EQ(sim::ListFolder(Files(), u"C:\\Temp"), std::vector<std::u16string>{});
  }
  void ExpectRefused(const std::u16string& path, std::string_view error) {
    process.console.clear();
    EXPECT_FALSE(AcquirePackageSnapshot(path)) << testing::PrintToString(path);
    EXPECT_EQ(ToUtf8(process.ErrorOutput()),
              "vorn_devnode: protected local package snapshot refused (error 0x" +
                  std::string(error) + ")\n");
    EXPECT_EQ(process.Output(), u"");
    EXPECT_EQ(OpenHandles(), 0U);
    EXPECT_EQ(SnapshotInfPath(), u"");
    if (Exists(u"C:\\Temp")) ExpectNothingLeft();
  }
  void ExpectRefused(std::string_view error) { ExpectRefused(kInf, error); }

  /// Files with numbered names in a folder.
  void PutMany(std::u16string_view folder, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
      sim::PutFile(Files(), std::u16string(folder) + u"n" + ToUtf16(std::to_string(i)), "");
    }
  }
  std::u16string NestedFolder(std::size_t levels) {
    std::u16string path = kFolder;
    for (std::size_t level = 0; level < levels; ++level)
      path += u"d\\";
    return path;
  }
};

}  // namespace vorn::privileged_input

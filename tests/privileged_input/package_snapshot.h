#pragma once

// A package on the small machine, and what takes and examines its snapshot.

#include "base/text.h"
#include "privileged_input/private_package.h"
#include "tests/privileged_input/input_test.h"
#include "tests/support/sample.h"

#include <cstddef>
#include <gtest/gtest.h>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vorn::privileged_input {

using tests::kSampleInf;

inline constexpr char16_t kFolder[] = u"C:\\pkg\\driver\\";

/// Drive C: with a package of four files in C:\pkg\driver and a file beside it, and one run's
/// snapshot, which is not taken yet.
class PackageSnapshotTest : public tests::InputTest {
 protected:
  PackageSnapshotTest() {
    sim::PutFile(Files(), kSampleInf, "the inf");
    sim::PutFile(Files(), u"C:\\pkg\\driver\\vorn_audio.cat", "the catalog");
    sim::PutFile(Files(), u"C:\\pkg\\driver\\x64\\vorn_audio.sys", "the driver");
    sim::PutFile(Files(), u"C:\\pkg\\driver\\x64\\deep\\notes.txt", "");
    sim::PutFile(Files(), u"C:\\pkg\\beside.txt", "not part of the package");
  }

  bool Acquire(std::u16string_view infPath = kSampleInf) {
    return AcquirePackageSnapshot(AbsolutePath::Parse(infPath), *snapshot);
  }

  /// Destroys the snapshot, as the end of its run does; the next run starts with none.
  void Release() { snapshot.emplace(); }

  /// A private package of kSampleInf that is not a run's snapshot.
  static PrivatePackage CreatePackage(std::u16string tempBase = {},
                                      const char16_t* sddl = kPackageSddl,
                                      ProtectionCheck protection = ProtectionCheck::Verify) {
    return PrivatePackage::Create(PathOf(kSampleInf), std::move(tempBase), sddl, protection);
  }

  /// What was opened, created, drawn and checked, in order: "NtCreateFile name access disposition",
  /// and the names of some other calls. The digits of the snapshot's folder are left out.
  std::vector<std::string> Steps() const {
    static const std::set<std::string> others = {
        "QueryDosDeviceW",
        "GetTempPathW",
        "ConvertStringSecurityDescriptorToSecurityDescriptorW",
        "BCryptGenRandom",
        "GetSecurityInfo",
        "FlushFileBuffers"};
    std::vector<std::string> steps;
    for (const sim::CallRecord& call : process.calls) {
      if (others.contains(call.name)) steps.push_back(call.name);
      if (call.name != "NtCreateFile") continue;
      std::string name = call.Argument("ObjectName");
      if (name.starts_with("VORN-input-")) name = "VORN-input";
      steps.push_back("NtCreateFile " + name + " " + call.Argument("DesiredAccess") + " " +
                      call.Argument("CreateDisposition"));
    }
    return steps;
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
    EXPECT_FALSE(Acquire(path)) << testing::PrintToString(path);
    EXPECT_EQ(ToUtf8(process.ErrorOutput()),
              "vorn_devnode: protected local package snapshot refused (error 0x" +
                  std::string(error) + ")\n");
    EXPECT_EQ(process.Output(), u"");
    EXPECT_EQ(OpenHandles(), 0U);
    EXPECT_EQ(snapshot->Input().path, u"");
    EXPECT_FALSE(snapshot->Input().file);
    if (Exists(u"C:\\Temp")) ExpectNothingLeft();
  }
  void ExpectRefused(std::string_view error) { ExpectRefused(kSampleInf, error); }

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

  std::optional<PackageSnapshot> snapshot{std::in_place};
};

}  // namespace vorn::privileged_input

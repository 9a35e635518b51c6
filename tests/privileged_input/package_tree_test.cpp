#include "privileged_input/package_tree.h"

#include "platform/simulated/error_values.h"
#include "platform/simulated/file_values.h"
#include "privileged_input/native_api.h"
#include "tests/privileged_input/input_test.h"

#include <optional>
#include <string>
#include <vector>

namespace vorn::privileged_input {
namespace {

/// A source folder with one file and one subfolder with a file, and a copy that is only an empty
/// folder yet.
class PackageTree : public tests::InputTest {
 protected:
  PackageTree() {
    platform::ConvertStringSecurityDescriptorToSecurityDescriptorW(
        tests::kProtectedSddl, platform::SDDL_REVISION_1, descriptor.Receive(), nullptr);
    sim::PutFile(Files(), u"C:\\src\\a", "first");
    sim::PutFile(Files(), u"C:\\src\\sub\\b", "second");
    data->directories.push_back(Directory::CreateChild(
        Directory::OpenAbsolute(u"C:\\Temp", LoadNativeApi()), u"copy", descriptor.Get()));
  }

  bool Copy(ProtectionCheck protection = ProtectionCheck::Verify) {
    return CopyPackageTree(Directory::OpenAbsolute(u"C:\\src", LoadNativeApi()), descriptor.Get(),
                           protection, *data);
  }
  std::vector<std::u16string> Copied() const {
    std::vector<std::u16string> paths;
    for (const PackageFileEntry& entry : data->files)
      paths.push_back(entry.relativePath);
    return paths;
  }

  platform::SecurityDescriptor descriptor;
  std::optional<PackageData> data{std::in_place};
};

TEST_F(PackageTree, IsCopiedWithTheIdentityOfEachFile) {
  ASSERT_TRUE(Copy());
  EXPECT_EQ(Copied(), (std::vector<std::u16string>{u"a", u"sub\\b"}));
  EXPECT_EQ(data->directories.size(), 2U);
  for (const PackageFileEntry& entry : data->files) {
    EXPECT_EQ(entry.identity, entry.file.Identity());
    EXPECT_TRUE(entry.file.Path().starts_with(entry.folder.Path()));
  }
}

TEST_F(PackageTree, IsCopiedWhateverElseTheAttributesSay) {
  constexpr std::uint32_t kNoPlainFile =
      platform::FILE_ATTRIBUTE_DIRECTORY | platform::FILE_ATTRIBUTE_REPARSE_POINT;
  sim::NodeAt(Files(), u"C:\\src\\a").attributes |= ~kNoPlainFile;
  sim::NodeAt(Files(), u"C:\\src\\sub").attributes |= ~kNoPlainFile;
  sim::NodeAt(Files(), u"C:\\src\\sub\\b").attributes |= ~kNoPlainFile;
  ASSERT_TRUE(Copy());
  EXPECT_EQ(Copied(), (std::vector<std::u16string>{u"a", u"sub\\b"}));
}

TEST_F(PackageTree, IsReferredToByItsDataAlone) {
  ASSERT_TRUE(Copy());
  data.reset();
  EXPECT_EQ(OpenHandles(), 0U);
  EXPECT_FALSE(Exists(u"C:\\Temp\\copy"));
}

TEST_F(PackageTree, KeepsWhatWasCreatedBeforeAFailure) {
  FailCall("FlushFileBuffers", platform::ERROR_DISK_FULL, 2);
  EXPECT_FALSE(Copy());
  EXPECT_LAST_ERROR(ERROR_DISK_FULL);
  EXPECT_EQ(Copied(), (std::vector<std::u16string>{u"a", u"sub\\b"}));
  EXPECT_TRUE(data->files[1].file.IsWritable()) << "the copy that could not be finished";
  data.reset();
  EXPECT_FALSE(Exists(u"C:\\Temp\\copy"));
}

TEST_F(PackageTree, IsRefusedWhenWhatWasListedIsGoneOnceItIsOpened) {
  // The drive, the folder, the file, its copy twice, the subfolder.
  for (const std::uint32_t open : {3U, 6U}) {
    const std::u16string gone = open == 3 ? u"C:\\src\\a" : u"C:\\src\\sub";
    sim::PutFile(Files(), u"C:\\src\\a", "first");
    ChangeBefore("NtCreateFile", open,
                 [gone](sim::Machine& world) { sim::RemovePath(world.files, gone); });
    EXPECT_FALSE(Copy()) << open;
    EXPECT_LAST_ERROR(ERROR_FILE_NOT_FOUND) << open;
  }
}

TEST_F(PackageTree, EndsAtAFolderThatCannotBeCreated) {
  sim::MakeFolder(Files(), u"C:\\src\\empty");
  sim::MakeFolder(Files(), u"C:\\Temp\\copy\\empty");
  EXPECT_FALSE(Copy());
  EXPECT_LAST_ERROR(ERROR_ALREADY_EXISTS);
  EXPECT_EQ(data->directories.size(), 1U) << "nothing is recorded that was not created";
  data.reset();
  EXPECT_TRUE(Exists(u"C:\\Temp\\copy\\empty"));
}

TEST_F(PackageTree, EndsAtAFileThatCannotBeCreated) {
  sim::PutFile(Files(), u"C:\\Temp\\copy\\a", "another's");
  EXPECT_FALSE(Copy());
  EXPECT_LAST_ERROR(ERROR_ALREADY_EXISTS);
  EXPECT_EQ(Copied(), std::vector<std::u16string>{});
  data.reset();
  EXPECT_TRUE(Exists(u"C:\\Temp\\copy\\a"));
}

TEST_F(PackageTree, IsNotCheckedWhereVerificationIsSkipped) {
  ASSERT_TRUE(Copy(ProtectionCheck::Skip));
  EXPECT_TRUE(CallsOf("GetSecurityInfo").empty());
  data.emplace();
}

TEST_F(PackageTree, PassesOverWhatCannotBeRemoved) {
  ASSERT_TRUE(Copy());
  sim::HoldOpen(Files(), u"C:\\Temp\\copy\\a", platform::FILE_READ_DATA, platform::FILE_SHARE_READ);
  platform::SetLastError(4711);
  data.reset();
  EXPECT_EQ(platform::GetLastError(), 4711U);
  EXPECT_EQ(sim::ListFolder(Files(), u"C:\\Temp\\copy"), std::vector<std::u16string>{u"a"});
  EXPECT_TRUE(process.console.empty());
}

}  // namespace
}  // namespace vorn::privileged_input

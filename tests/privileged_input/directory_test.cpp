#include "privileged_input/directory.h"

#include "platform/native.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/native_values.h"
#include "tests/privileged_input/input_test.h"

#include <algorithm>

namespace vorn::privileged_input {
namespace {

using tests::kGuidRoot;
using tests::Repeat;

class VerifiedDirectory : public tests::InputTest {
 protected:
  VerifiedDirectory() {
    platform::ConvertStringSecurityDescriptorToSecurityDescriptorW(
        tests::kProtectedSddl, platform::SDDL_REVISION_1, descriptor.Receive(), nullptr);
    sim::PutFile(Files(), u"C:\\a\\b\\file", "content");
  }

  Directory Open(std::u16string_view path) { return Directory::OpenAbsolute(path, api); }

  void ExpectRefused(std::u16string_view path, std::uint32_t error) {
    platform::SetLastError(0);
    EXPECT_FALSE(Open(path)) << testing::PrintToString(path);
    EXPECT_EQ(platform::GetLastError(), error) << testing::PrintToString(path);
    EXPECT_EQ(OpenHandles(), 0U) << testing::PrintToString(path);
  }

  std::vector<std::u16string> Names(const Directory& directory) {
    std::vector<DirectoryEntry> entries;
    EXPECT_TRUE(Directory::Enumerate(directory, entries, 200000)) << platform::GetLastError();
    std::vector<std::u16string> names;
    for (const DirectoryEntry& entry : entries)
      names.push_back(entry.name);
    return names;
  }

  NativeApi api = LoadNativeApi();
  platform::SecurityDescriptor descriptor;
};

TEST_F(VerifiedDirectory, IsNotOpenByDefault) {
  const Directory none;
  EXPECT_FALSE(none);
  EXPECT_EQ(none.Handle(), nullptr);
  EXPECT_EQ(none.Path(), u"");
  EXPECT_FALSE(none.WasCreated());
}

TEST_F(VerifiedDirectory, HasAPathFromItsVolumeGuidRoot) {
  EXPECT_EQ(Open(u"C:\\").Path(), kGuidRoot);
  EXPECT_EQ(Open(u"c:\\A\\b").Path(), std::u16string(kGuidRoot) + u"A\\b");
  EXPECT_FALSE(Open(u"C:\\a").WasCreated());
}

TEST_F(VerifiedDirectory, HoldsEveryFolderAboveIt) {
  const Directory folder = Open(u"C:\\a\\b");
  ASSERT_TRUE(folder);
  EXPECT_EQ(OpenHandles(), 3U);
}

TEST_F(VerifiedDirectory, ClosesItselfBeforeTheFoldersAboveIt) {
  Directory folder = Open(u"C:\\a\\b");
  std::vector<std::string> opened;
  for (const auto& call : CallsOf("GetFileType"))
    opened.push_back(call.Argument("hFile"));
  folder = Directory();
  std::vector<std::string> closed;
  for (const auto& call : CallsOf("CloseHandle"))
    closed.push_back(call.Argument("hObject"));
  std::reverse(opened.begin(), opened.end());
  EXPECT_EQ(closed, opened);
}

TEST_F(VerifiedDirectory, StaysOpenWhileAnyCopyIsHeld) {
  Directory folder = Open(u"C:\\a");
  const Directory copy = folder;
  folder = Directory();
  EXPECT_TRUE(copy);
  EXPECT_EQ(OpenHandles(), 2U);
}

TEST_F(VerifiedDirectory, KeepsTheLastErrorWhenItCloses) {
  Directory folder = Open(u"C:\\a");
  FailCall("CloseHandle", platform::ERROR_INVALID_HANDLE);
  platform::SetLastError(4711);
  folder = Directory();
  EXPECT_EQ(platform::GetLastError(), 4711U);
  process.faults.clear();
  // The fault left one handle open, as a real failure to close would.
  EXPECT_EQ(OpenHandles(), 1U);
  for (const auto& call : CallsOf("GetFileType")) {
    platform::CloseHandle(
        reinterpret_cast<platform::HANDLE>(std::stoull(call.Argument("hFile").substr(1))));
  }
}

TEST_F(VerifiedDirectory, ChecksThePathBeforeAnythingElse) {
  process.calls.clear();
  ExpectRefused(u"C:\\a\\..\\b", platform::ERROR_INVALID_NAME);
  ExpectRefused(u"\\\\server\\share", platform::ERROR_INVALID_NAME);
  EXPECT_TRUE(process.calls.empty());
}

TEST_F(VerifiedDirectory, NeedsAPath) {
  platform::SetLastError(0);
  EXPECT_FALSE(Directory::OpenAbsolute(std::nullopt, api));
  EXPECT_LAST_ERROR(ERROR_INVALID_NAME);
}

TEST_F(VerifiedDirectory, NeedsEveryEntryPoint) {
  api.rtlNtStatusToDosError = nullptr;
  ExpectRefused(u"C:\\a", platform::ERROR_PROC_NOT_FOUND);
  api = LoadNativeApi();
  api.ntCreateFile = nullptr;
  ExpectRefused(u"C:\\a", platform::ERROR_PROC_NOT_FOUND);
  api.queryDosDevice = nullptr;
  process.calls.clear();
  ExpectRefused(u"C:\\a", platform::ERROR_PROC_NOT_FOUND);
  EXPECT_TRUE(process.calls.empty());
}

TEST_F(VerifiedDirectory, RefusesADriveThatIsNoLocalHardDisk) {
  Files().dosDevices[u"N:"] = u"\\Device\\Mup\\server\\share";
  Files().dosDevices[u"S:"] = u"\\??\\C:\\a";
  ExpectRefused(u"N:\\x", platform::ERROR_BAD_DEVICE);
  ExpectRefused(u"S:\\b", platform::ERROR_BAD_DEVICE);
  ExpectRefused(u"Q:\\x", platform::ERROR_FILE_NOT_FOUND);
}

TEST_F(VerifiedDirectory, RefusesAVolumeWithoutAProperGuidPath) {
  for (const char16_t* root : {u"\\\\?\\Volume{short}\\", u"C:\\", u""}) {
    Files().volumes[0].reportedRoot = root;
    ExpectRefused(u"C:\\a", platform::ERROR_BAD_DEVICE);
  }
  Files().volumes[0].reportedRoot.reset();
  FailCall("GetFinalPathNameByHandleW", platform::ERROR_NOT_ENOUGH_MEMORY);
  ExpectRefused(u"C:\\a", platform::ERROR_BAD_DEVICE);
}

TEST_F(VerifiedDirectory, ReportsFileNotFoundForAnyMissingPart) {
  ExpectRefused(u"C:\\missing", platform::ERROR_FILE_NOT_FOUND);
  ExpectRefused(u"C:\\missing\\b", platform::ERROR_FILE_NOT_FOUND);
  ExpectRefused(u"C:\\a\\missing\\c", platform::ERROR_FILE_NOT_FOUND);
}

TEST_F(VerifiedDirectory, RefusesAFileWhereAFolderShouldBe) {
  ExpectRefused(u"C:\\a\\b\\file", platform::ERROR_DIRECTORY);
  ExpectRefused(u"C:\\a\\b\\file\\c", platform::ERROR_DIRECTORY);
}

TEST_F(VerifiedDirectory, NeverFollowsALink) {
  sim::PutLink(Files(), u"C:\\junction", sim::ReparseKind::Junction, u"C:\\a", true);
  sim::PutLink(Files(), u"C:\\a\\link", sim::ReparseKind::SymbolicLink, u"C:\\a\\b", true);
  sim::PutLink(Files(), u"C:\\other", sim::ReparseKind::Other, u"", true);
  ExpectRefused(u"C:\\junction", platform::ERROR_REPARSE_TAG_INVALID);
  ExpectRefused(u"C:\\junction\\b", platform::ERROR_REPARSE_TAG_INVALID);
  ExpectRefused(u"C:\\a\\link", platform::ERROR_REPARSE_TAG_INVALID);
  ExpectRefused(u"C:\\other", platform::ERROR_REPARSE_TAG_INVALID);
}

TEST_F(VerifiedDirectory, ReportsAnInvalidFileForAVolumeRootThatIsNotAPlainFolder) {
  sim::NodeAt(Files(), u"C:\\").reportedType = platform::FILE_TYPE_CHAR;
  ExpectRefused(u"C:\\a", platform::ERROR_FILE_INVALID);
}

TEST_F(VerifiedDirectory, ChecksEachFolderBeforeItOpensTheNext) {
  process.calls.clear();
  ASSERT_TRUE(Open(u"C:\\a\\b"));
  std::vector<std::string> names = CallNames();
  std::erase(names, "CloseHandle");
  EXPECT_EQ(names, (std::vector<std::string>{
                       "QueryDosDeviceW", "NtCreateFile", "GetFileType",
                       "GetFileInformationByHandleEx", "GetFinalPathNameByHandleW", "NtCreateFile",
                       "GetFileType", "GetFileInformationByHandleEx", "NtCreateFile", "GetFileType",
                       "GetFileInformationByHandleEx"}));
}

TEST_F(VerifiedDirectory, ChecksTheTypeOfAVolumeRootBeforeItsGuidPath) {
  sim::NodeAt(Files(), u"C:\\").reportedType = platform::FILE_TYPE_CHAR;
  Files().volumes[0].reportedRoot = u"C:\\";
  ExpectRefused(u"C:\\a", platform::ERROR_FILE_INVALID);
  EXPECT_TRUE(CallsOf("GetFinalPathNameByHandleW").empty());
}

TEST_F(VerifiedDirectory, KeepsTheErrorOfAFailedTypeQueryForTheRootOnly) {
  FailCall("GetFileInformationByHandleEx", platform::ERROR_NOT_READY);
  ExpectRefused(u"C:\\a", platform::ERROR_NOT_READY);
  FailCall("GetFileInformationByHandleEx", platform::ERROR_NOT_READY, 2);
  ExpectRefused(u"C:\\a", platform::ERROR_REPARSE_TAG_INVALID);
}

TEST_F(VerifiedDirectory, IgnoresTheOutputOfACallThatFailed) {
  AddFault("QueryDosDeviceW", sim::FaultKind::FailAfterEffect).error = platform::ERROR_NOT_READY;
  ExpectRefused(u"C:\\a", platform::ERROR_NOT_READY);
  AddFault("GetFileInformationByHandleEx", sim::FaultKind::FailAfterEffect).error =
      platform::ERROR_NOT_READY;
  ExpectRefused(u"C:\\a", platform::ERROR_NOT_READY);
  AddFault("GetFinalPathNameByHandleW", sim::FaultKind::FailAfterEffect);
  ExpectRefused(u"C:\\a", platform::ERROR_BAD_DEVICE);
  AddFault("NtCreateFile", sim::FaultKind::FailAfterEffect, 2).error =
      static_cast<std::uint32_t>(platform::STATUS_ACCESS_DENIED);
  ExpectRefused(u"C:\\a", platform::ERROR_ACCESS_DENIED);
}

TEST_F(VerifiedDirectory, QueriesTheTypeTheAttributesAndTheTag) {
  Open(u"C:\\a");
  EXPECT_EQ(CallsOf("GetFileType").size(), 2U);
  const auto calls = CallsOf("GetFileInformationByHandleEx");
  ASSERT_EQ(calls.size(), 2U);
  EXPECT_EQ(calls[1].Argument("FileInformationClass"), "9");
  EXPECT_EQ(calls[1].Argument("dwBufferSize"), "8");
}

TEST_F(VerifiedDirectory, CannotBeDeletedOrRenamedByOthersWhileHeld) {
  const Directory folder = Open(u"C:\\a");
  const Directory above = Open(u"C:\\");
  platform::HANDLE other = nullptr;
  const platform::UNICODE_STRING name = {2, 2, u"a"};
  const platform::OBJECT_ATTRIBUTES attributes = {
      sizeof attributes, above.Handle(), &name, platform::OBJ_CASE_INSENSITIVE, nullptr, nullptr};
  platform::IO_STATUS_BLOCK ioStatus = {};
  EXPECT_EQ(
      api.ntCreateFile(
          &other, platform::DELETE | platform::SYNCHRONIZE, &attributes, &ioStatus, nullptr, 0,
          platform::FILE_SHARE_READ | platform::FILE_SHARE_WRITE | platform::FILE_SHARE_DELETE,
          platform::FILE_OPEN, platform::FILE_DIRECTORY_FILE, nullptr, 0),
      platform::STATUS_SHARING_VIOLATION);
}

TEST_F(VerifiedDirectory, OpensRelativePathsOfSeveralNames) {
  const Directory root = Open(u"C:\\");
  EXPECT_EQ(Directory::OpenRelative(root, u"a\\b").Path(), std::u16string(kGuidRoot) + u"a\\b");
}

TEST_F(VerifiedDirectory, RefusesABadRelativePathBeforeAnyOpen) {
  const Directory root = Open(u"C:\\");
  process.calls.clear();
  for (const std::u16string& path :
       {std::u16string(), Repeat(u'a', 32761), std::u16string(u"a\\"), std::u16string(u"\\a"),
        std::u16string(u"a\\..\\b"), std::u16string(u"a\\nul"), std::u16string(u"a/b")}) {
    platform::SetLastError(0);
    EXPECT_FALSE(Directory::OpenRelative(root, path));
    EXPECT_LAST_ERROR(ERROR_INVALID_NAME);
  }
  EXPECT_TRUE(process.calls.empty());
}

TEST_F(VerifiedDirectory, AcceptsRelativePathsOf32760UnitsAndNoMore) {
  const Directory root = Open(u"C:\\");
  std::u16string path = Repeat(u'a', 160);  // and 163 names of 199 units
  while (path.size() < 32760)
    path += u"\\" + Repeat(u'a', 199);
  ASSERT_EQ(path.size(), 32760U);
  EXPECT_FALSE(Directory::OpenRelative(root, path));
  EXPECT_LAST_ERROR(ERROR_FILE_NOT_FOUND);
  EXPECT_FALSE(Directory::OpenRelative(root, path + u"a"));
  EXPECT_LAST_ERROR(ERROR_INVALID_NAME);
}

TEST_F(VerifiedDirectory, LeavesTheErrorOfAParentThatDidNotOpen) {
  std::vector<DirectoryEntry> entries;
  platform::SetLastError(4711);
  EXPECT_FALSE(Directory::OpenRelative({}, u"a"));
  EXPECT_FALSE(Directory::OpenRelative({}, u"a\\")) << "whatever the path";
  EXPECT_FALSE(Directory::CreateChild({}, u"a", descriptor.Get()));
  EXPECT_FALSE(Directory::Enumerate({}, entries, 10));
  EXPECT_EQ(platform::GetLastError(), 4711U);
}

TEST_F(VerifiedDirectory, CreatesAChildWithItsDescriptor) {
  const Directory folder = Open(u"C:\\a");
  const Directory child = Directory::CreateChild(folder, u"new", descriptor.Get());
  ASSERT_TRUE(child);
  EXPECT_TRUE(child.WasCreated());
  EXPECT_EQ(child.Path(), std::u16string(kGuidRoot) + u"a\\new");
  EXPECT_EQ(sim::ToSddl(sim::NodeAt(Files(), u"C:\\a\\new").security), tests::kProtectedSddl);
}

TEST_F(VerifiedDirectory, HoldsTheFoldersAboveANewChild) {
  const Directory child = Directory::CreateChild(Open(u"C:\\a"), u"new", descriptor.Get());
  ASSERT_TRUE(child);
  EXPECT_EQ(OpenHandles(), 3U);
}

TEST_F(VerifiedDirectory, CreatesNoChildOverAnExistingName) {
  const Directory folder = Open(u"C:\\a\\b");
  EXPECT_FALSE(Directory::CreateChild(folder, u"FILE", descriptor.Get()));
  EXPECT_LAST_ERROR(ERROR_ALREADY_EXISTS);
  EXPECT_FALSE(Directory::CreateChild(Open(u"C:\\a"), u"b", descriptor.Get()));
  EXPECT_LAST_ERROR(ERROR_ALREADY_EXISTS);
}

TEST_F(VerifiedDirectory, CreatesNoChildWithoutASafeNameAndADescriptor) {
  const Directory folder = Open(u"C:\\a");
  for (const char16_t* name : {u"", u"x\\y", u"aux", u"x."}) {
    EXPECT_FALSE(Directory::CreateChild(folder, name, descriptor.Get()));
    EXPECT_LAST_ERROR(ERROR_INVALID_NAME);
  }
  EXPECT_FALSE(Directory::CreateChild(folder, u"x", nullptr));
  EXPECT_LAST_ERROR(ERROR_INVALID_PARAMETER);
  EXPECT_EQ(sim::ListFolder(Files(), u"C:\\a"), std::vector<std::u16string>{u"b"});
}

TEST_F(VerifiedDirectory, LeavesNothingOfAChildThatFailsItsCheck) {
  const Directory folder = Open(u"C:\\a");
  FailCall("GetFileInformationByHandleEx", platform::ERROR_NOT_READY);
  EXPECT_FALSE(Directory::CreateChild(folder, u"new", descriptor.Get()));
  EXPECT_LAST_ERROR(ERROR_NOT_READY);
  EXPECT_FALSE(Exists(u"C:\\a\\new"));
  EXPECT_EQ(CallsOf("SetFileInformationByHandle").size(), 1U);
}

TEST_F(VerifiedDirectory, ReportsAnInvalidFileForANewChildThatIsNotAPlainFolder) {
  const Directory folder = Open(u"C:\\a");
  ChangeBefore("GetFileType", 1, [](sim::Machine& changed) {
    sim::NodeAt(changed.files, u"C:\\a\\new").reparse = sim::ReparseKind::Other;
  });
  EXPECT_FALSE(Directory::CreateChild(folder, u"new", descriptor.Get()));
  EXPECT_LAST_ERROR(ERROR_FILE_INVALID);
  EXPECT_FALSE(Exists(u"C:\\a\\new"));
}

TEST_F(VerifiedDirectory, ReportsWhyAChildFailedEvenIfItCannotBeDeleted) {
  const Directory folder = Open(u"C:\\a");
  FailCall("GetFileInformationByHandleEx", platform::ERROR_NOT_READY);
  FailCall("SetFileInformationByHandle", platform::ERROR_GEN_FAILURE);
  EXPECT_FALSE(Directory::CreateChild(folder, u"new", descriptor.Get()));
  EXPECT_LAST_ERROR(ERROR_NOT_READY);
}

TEST_F(VerifiedDirectory, ListsNamesAndAttributes) {
  sim::PutFile(Files(), u"C:\\list\\One.inf", "1");
  sim::MakeFolder(Files(), u"C:\\list\\two");
  sim::PutLink(Files(), u"C:\\list\\three", sim::ReparseKind::SymbolicLink, u"C:\\a", false);
  sim::NodeAt(Files(), u"C:\\list\\One.inf").attributes = platform::FILE_ATTRIBUTE_HIDDEN;
  std::vector<DirectoryEntry> entries = {{u"stale", 0}};
  ASSERT_TRUE(Directory::Enumerate(Open(u"C:\\list"), entries, 3));
  ASSERT_EQ(entries.size(), 3U);
  std::sort(entries.begin(), entries.end(),
            [](const auto& left, const auto& right) { return left.name < right.name; });
  EXPECT_EQ(entries[0], (DirectoryEntry{u"One.inf", platform::FILE_ATTRIBUTE_HIDDEN}));
  EXPECT_EQ(entries[1].name, u"three");
  EXPECT_NE(entries[1].attributes & platform::FILE_ATTRIBUTE_REPARSE_POINT, 0U);
  EXPECT_EQ(entries[2].name, u"two");
  EXPECT_NE(entries[2].attributes & platform::FILE_ATTRIBUTE_DIRECTORY, 0U);
}

TEST_F(VerifiedDirectory, ListsAnEmptyFolder) {
  sim::MakeFolder(Files(), u"C:\\empty");
  EXPECT_TRUE(Names(Open(u"C:\\empty")).empty());
}

TEST_F(VerifiedDirectory, ListsNothingOfAFolderThatIsNotOpen) {
  std::vector<DirectoryEntry> entries = {{u"before", 0}};
  EXPECT_FALSE(Directory::Enumerate({}, entries, 10));
  EXPECT_TRUE(entries.empty());
}

TEST_F(VerifiedDirectory, ListsPageByPage) {
  constexpr std::size_t kCount = 1500;
  for (std::size_t i = 0; i < kCount; ++i) {
    const std::string digits = std::to_string(10000 + i);
    sim::PutFile(Files(),
                 u"C:\\many\\" + Repeat(u'n', 100) + std::u16string(digits.begin(), digits.end()),
                 "");
  }
  const Directory folder = Open(u"C:\\many");
  process.calls.clear();
  std::vector<std::u16string> names = Names(folder);
  EXPECT_EQ(names.size(), kCount);
  std::sort(names.begin(), names.end());
  EXPECT_EQ(std::unique(names.begin(), names.end()), names.end());
  const auto calls = CallsOf("GetFileInformationByHandleEx");
  ASSERT_GT(calls.size(), 3U);
  for (std::size_t i = 0; i < calls.size(); ++i) {
    EXPECT_EQ(calls[i].Argument("FileInformationClass"), i == 0 ? "11" : "10");
    EXPECT_EQ(calls[i].Argument("dwBufferSize"), "65536");
  }
  EXPECT_EQ(calls.back().lastError, platform::ERROR_NO_MORE_FILES);
}

TEST_F(VerifiedDirectory, ListsAgainFromTheStart) {
  const Directory folder = Open(u"C:\\a\\b");
  EXPECT_EQ(Names(folder), std::vector<std::u16string>{u"file"});
  EXPECT_EQ(Names(folder), std::vector<std::u16string>{u"file"});
}

TEST_F(VerifiedDirectory, ListsUpToTheLimitAndNoMore) {
  sim::PutFile(Files(), u"C:\\a\\b\\second", "");
  const Directory folder = Open(u"C:\\a\\b");
  std::vector<DirectoryEntry> entries;
  EXPECT_TRUE(Directory::Enumerate(folder, entries, 2));
  EXPECT_FALSE(Directory::Enumerate(folder, entries, 1));
  EXPECT_LAST_ERROR(ERROR_FILE_INVALID);
}

TEST_F(VerifiedDirectory, RefusesAListingWithAnUnsafeName) {
  sim::PutFile(Files(), u"C:\\a\\b\\lpt1.inf", "");
  std::vector<DirectoryEntry> entries;
  EXPECT_FALSE(Directory::Enumerate(Open(u"C:\\a\\b"), entries, 10));
  EXPECT_LAST_ERROR(ERROR_INVALID_NAME);
}

TEST_F(VerifiedDirectory, RefusesAMalformedListing) {
  sim::NodeAt(Files(), u"C:\\a\\b").reportedPages = {sim::Bytes(65536, 0xFF)};
  std::vector<DirectoryEntry> entries;
  EXPECT_FALSE(Directory::Enumerate(Open(u"C:\\a\\b"), entries, 10));
  EXPECT_LAST_ERROR(ERROR_FILE_INVALID);
}

TEST_F(VerifiedDirectory, EndsAListingOnlyForLackOfFiles) {
  const Directory folder = Open(u"C:\\a\\b");
  std::vector<DirectoryEntry> entries;
  FailCall("GetFileInformationByHandleEx", platform::ERROR_NO_MORE_FILES);
  EXPECT_TRUE(Directory::Enumerate(folder, entries, 10));
  EXPECT_TRUE(entries.empty());
  constexpr std::uint32_t kErrorHandleEof = 38;
  for (const std::uint32_t error : {platform::ERROR_FILE_NOT_FOUND, platform::ERROR_ACCESS_DENIED,
                                    platform::ERROR_NO_MORE_ITEMS, kErrorHandleEof}) {
    FailCall("GetFileInformationByHandleEx", error);
    EXPECT_FALSE(Directory::Enumerate(folder, entries, 10)) << error;
    EXPECT_EQ(platform::GetLastError(), error);
  }
}

/// 600 files in C:\many, whose names end in 10000 to 10599: too many for one call that lists.
void PutFilesOfSeveralPages(sim::FileSystem& files) {
  for (int i = 0; i < 600; ++i) {
    const std::string digits = std::to_string(10000 + i);
    sim::PutFile(files,
                 u"C:\\many\\" + Repeat(u'n', 100) + std::u16string(digits.begin(), digits.end()),
                 "");
  }
}

TEST_F(VerifiedDirectory, LimitsAListingOfSeveralPagesAsAWhole) {
  PutFilesOfSeveralPages(Files());
  const Directory folder = Open(u"C:\\many");
  std::vector<DirectoryEntry> entries;
  EXPECT_TRUE(Directory::Enumerate(folder, entries, 600));
  ASSERT_GT(CallsOf("GetFileInformationByHandleEx").size(), 3U);
  EXPECT_FALSE(Directory::Enumerate(folder, entries, 599));
  EXPECT_LAST_ERROR(ERROR_FILE_INVALID);
}

TEST_F(VerifiedDirectory, KeepsOnlyWhatTheFilterAcceptsAndCountsTheRest) {
  PutFilesOfSeveralPages(Files());
  const Directory folder = Open(u"C:\\many");
  const auto endsInZeros = [](const DirectoryEntry& entry) { return entry.name.ends_with(u"00"); };
  std::vector<DirectoryEntry> entries;
  EXPECT_TRUE(Directory::Enumerate(folder, entries, 600, endsInZeros));
  ASSERT_EQ(entries.size(), 6U);
  EXPECT_EQ(entries.front().name, Repeat(u'n', 100) + u"10000");
  EXPECT_EQ(entries.back().name, Repeat(u'n', 100) + u"10500");
  EXPECT_FALSE(Directory::Enumerate(folder, entries, 599, endsInZeros));
  EXPECT_LAST_ERROR(ERROR_FILE_INVALID);
}

TEST_F(VerifiedDirectory, RefusesAListingThatBreaksOff) {
  const Directory folder = Open(u"C:\\a\\b");
  std::vector<DirectoryEntry> entries;
  FailCall("GetFileInformationByHandleEx", platform::ERROR_NOT_READY);
  EXPECT_FALSE(Directory::Enumerate(folder, entries, 10));
  EXPECT_LAST_ERROR(ERROR_NOT_READY);
  FailCall("GetFileInformationByHandleEx", platform::ERROR_NOT_READY, 2);
  EXPECT_FALSE(Directory::Enumerate(folder, entries, 10));
  EXPECT_LAST_ERROR(ERROR_NOT_READY);
}

}  // namespace
}  // namespace vorn::privileged_input

#include "privileged_input/file.h"

#include "platform/native.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/native_values.h"
#include "privileged_input/file_transfer.h"
#include "tests/privileged_input/input_test.h"

#include <string>
#include <vector>

namespace vorn::privileged_input {
namespace {

using tests::kGuidRoot;
using tests::Repeat;

class VerifiedFile : public tests::InputTest {
 protected:
  VerifiedFile() {
    platform::ConvertStringSecurityDescriptorToSecurityDescriptorW(
        tests::kProtectedSddl, platform::SDDL_REVISION_1, descriptor.Receive(), nullptr);
    sim::PutFile(Files(), u"C:\\dir\\file", "content");
    sim::PutFile(Files(), u"C:\\dir\\sub\\inner", "inner");
  }

  File Open(std::u16string_view path, std::uint64_t maxSize = 100,
            FileMode mode = FileMode::ReadOnly) {
    return File::OpenAbsolute(path, api, maxSize, mode);
  }

  void ExpectRefused(std::u16string_view path, std::uint32_t error) {
    platform::SetLastError(0);
    EXPECT_FALSE(Open(path)) << testing::PrintToString(path);
    EXPECT_EQ(platform::GetLastError(), error) << testing::PrintToString(path);
    EXPECT_EQ(OpenHandles(), 0U) << testing::PrintToString(path);
  }

  NativeApi api = LoadNativeApi();
  platform::SecurityDescriptor descriptor;
};

TEST_F(VerifiedFile, IsNotOpenByDefault) {
  const File none;
  EXPECT_FALSE(none);
  EXPECT_EQ(none.Handle(), nullptr);
  EXPECT_EQ(none.Path(), u"");
  EXPECT_EQ(none.Identity(), FileIdentity{});
  EXPECT_FALSE(none.IsDeletable());
  EXPECT_FALSE(none.IsWritable());
}

TEST_F(VerifiedFile, KnowsItsPathSizeAndIdentity) {
  sim::NodeAt(Files(), u"C:\\dir\\file").reportedIndex = 0x12345678'9ABCDEF0;
  const File file = Open(u"C:\\dir\\FILE");
  ASSERT_TRUE(file);
  EXPECT_EQ(file.Path(), std::u16string(kGuidRoot) + u"dir\\FILE");
  EXPECT_EQ(file.Size(), 7U);
  EXPECT_EQ(file.Identity(),
            (FileIdentity{Files().volumes[0].serial, 0x12345678'9ABCDEF0U, file.Size()}));
}

TEST_F(VerifiedFile, CarriesTheRightsOfItsMode) {
  const File readOnly = Open(u"C:\\dir\\file");
  EXPECT_FALSE(readOnly.IsDeletable());
  EXPECT_FALSE(readOnly.IsWritable());
  const File deletable = Open(u"C:\\dir\\sub\\inner", 100, FileMode::Deletable);
  EXPECT_TRUE(deletable.IsDeletable());
  EXPECT_FALSE(deletable.IsWritable());
}

TEST_F(VerifiedFile, HoldsTheFoldersAboveItUntilItCloses) {
  File file = Open(u"C:\\dir\\sub\\inner");
  EXPECT_EQ(OpenHandles(), 4U);
  const File copy = file;
  file.Close();
  EXPECT_FALSE(copy);
  EXPECT_EQ(OpenHandles(), 0U);
}

TEST_F(VerifiedFile, ClosesBeforeTheFoldersAboveIt) {
  std::string handle;
  {
    const File file = Open(u"C:\\dir\\file");
    handle = sim::RenderArgument(file.Handle());
    process.calls.clear();
  }
  ASSERT_EQ(CallsOf("CloseHandle").size(), 3U);
  EXPECT_EQ(CallsOf("CloseHandle")[0].Argument("hObject"), handle);
}

TEST_F(VerifiedFile, IsClosedBeforeTheFoldersAboveIt) {
  File file = Open(u"C:\\dir\\file");
  const std::string handle = sim::RenderArgument(file.Handle());
  process.calls.clear();
  file.Close();
  ASSERT_EQ(CallsOf("CloseHandle").size(), 3U);
  EXPECT_EQ(CallsOf("CloseHandle")[0].Argument("hObject"), handle);
}

TEST_F(VerifiedFile, IsOpenedBelowAFolderByARelativePath) {
  const Directory root = Directory::OpenAbsolute(u"C:\\", api);
  const File file = File::Open(root, u"dir\\sub\\inner", 100, FileMode::ReadOnly);
  EXPECT_EQ(file.Path(), std::u16string(kGuidRoot) + u"dir\\sub\\inner");
  EXPECT_EQ(file.Size(), 5U);
}

TEST_F(VerifiedFile, IsOpenedByARelativePathOfTwoNames) {
  const Directory root = Directory::OpenAbsolute(u"C:\\", api);
  const File file = File::Open(root, u"dir\\file", 100, FileMode::ReadOnly);
  EXPECT_EQ(file.Path(), std::u16string(kGuidRoot) + u"dir\\file");
  EXPECT_EQ(file.Size(), 7U);
}

TEST_F(VerifiedFile, IsOpenedByARelativePathOf32760UnitsAndNoMore) {
  const Directory root = Directory::OpenAbsolute(u"C:\\", api);
  std::u16string path = Repeat(u'a', 160);  // and 163 names of 199 units
  while (path.size() < 32760)
    path += u"\\" + Repeat(u'a', 199);
  ASSERT_EQ(path.size(), 32760U);
  EXPECT_FALSE(File::Open(root, path, 100, FileMode::ReadOnly));
  EXPECT_LAST_ERROR(ERROR_FILE_NOT_FOUND);
  EXPECT_FALSE(File::Open(root, path + u"a", 100, FileMode::ReadOnly));
  EXPECT_LAST_ERROR(ERROR_INVALID_NAME);
}

TEST_F(VerifiedFile, IsOpenedAfterItsFolderThenCheckedThenCaptured) {
  process.calls.clear();
  const File file = Open(u"C:\\dir\\file");
  ASSERT_TRUE(file);
  EXPECT_EQ(CallNames(),
            (std::vector<std::string>{"QueryDosDeviceW", "NtCreateFile", "GetFileType",
                                      "GetFileInformationByHandleEx", "GetFinalPathNameByHandleW",
                                      "NtCreateFile", "GetFileType", "GetFileInformationByHandleEx",
                                      "NtCreateFile", "GetFileType", "GetFileInformationByHandleEx",
                                      "GetFileInformationByHandle"}));
}

TEST_F(VerifiedFile, KnowsTheSerialOfItsOwnVolume) {
  sim::AddVolume(Files(), u'D', u"\\Device\\HarddiskVolume4",
                 u"89abcdef-89ab-cdef-0123-456789abcdef");
  Files().volumes[1].serial = 0xFEDCBA98;
  sim::PutFile(Files(), u"D:\\file", "x");
  EXPECT_EQ(Open(u"D:\\file").Identity().volumeSerial, 0xFEDCBA98U);
}

TEST_F(VerifiedFile, KeepsTheLastErrorWhenItCloses) {
  File file = Open(u"C:\\dir\\file");
  const platform::HANDLE handle = file.Handle();
  FailCall("CloseHandle", platform::ERROR_INVALID_HANDLE);
  platform::SetLastError(4711);
  file = File();
  EXPECT_EQ(platform::GetLastError(), 4711U);
  platform::CloseHandle(handle);  // which the failure left open
}

TEST_F(VerifiedFile, RefusesABadRelativePathBeforeAnyOpen) {
  const Directory root = Directory::OpenAbsolute(u"C:\\", api);
  process.calls.clear();
  for (const std::u16string& path :
       {std::u16string(), Repeat(u'a', 32761), std::u16string(u"dir\\"), std::u16string(u"..\\x"),
        std::u16string(u"dir\\file:stream"), std::u16string(u"con")}) {
    platform::SetLastError(0);
    EXPECT_FALSE(File::Open(root, path, 100, FileMode::ReadOnly));
    EXPECT_LAST_ERROR(ERROR_INVALID_NAME);
  }
  EXPECT_TRUE(process.calls.empty());
}

TEST_F(VerifiedFile, LeavesTheErrorOfAFolderThatDidNotOpen) {
  platform::SetLastError(4711);
  EXPECT_FALSE(File::Open({}, u"file", 100, FileMode::ReadOnly));
  EXPECT_FALSE(File::Open({}, u"file\\", 100, FileMode::ReadOnly)) << "whatever the path";
  EXPECT_FALSE(File::Create({}, u"file", descriptor.Get(), 100));
  EXPECT_EQ(platform::GetLastError(), 4711U);
}

TEST_F(VerifiedFile, IsNeverADriveRoot) {
  process.calls.clear();
  ExpectRefused(u"C:\\", platform::ERROR_INVALID_NAME);
  EXPECT_TRUE(process.calls.empty());
}

TEST_F(VerifiedFile, MayLieInADriveRoot) {
  sim::PutFile(Files(), u"C:\\file", "x");
  EXPECT_EQ(Open(u"C:\\file").Path(), std::u16string(kGuidRoot) + u"file");
}

TEST_F(VerifiedFile, ReportsFileNotFoundForAnyMissingPart) {
  ExpectRefused(u"C:\\dir\\missing", platform::ERROR_FILE_NOT_FOUND);
  ExpectRefused(u"C:\\missing\\file", platform::ERROR_FILE_NOT_FOUND);
}

TEST_F(VerifiedFile, RefusesAFolderAndAFileWhereAFolderShouldBe) {
  ExpectRefused(u"C:\\dir\\sub", platform::ERROR_ACCESS_DENIED);
  ExpectRefused(u"C:\\dir\\file\\inner", platform::ERROR_DIRECTORY);
}

TEST_F(VerifiedFile, RefusesALink) {
  sim::PutLink(Files(), u"C:\\dir\\link", sim::ReparseKind::SymbolicLink, u"C:\\dir\\file", false);
  sim::PutLink(Files(), u"C:\\dir\\other", sim::ReparseKind::Other, u"", false);
  ExpectRefused(u"C:\\dir\\link", platform::ERROR_FILE_INVALID);
  ExpectRefused(u"C:\\dir\\other", platform::ERROR_FILE_INVALID);
}

TEST_F(VerifiedFile, RefusesAFileBehindALink) {
  sim::PutLink(Files(), u"C:\\junction", sim::ReparseKind::Junction, u"C:\\dir", true);
  ExpectRefused(u"C:\\junction\\file", platform::ERROR_REPARSE_TAG_INVALID);
}

TEST_F(VerifiedFile, IsRefusedWithASecondHardLink) {
  sim::AddHardLink(Files(), u"C:\\dir\\file", u"C:\\alias");
  ExpectRefused(u"C:\\dir\\file", platform::ERROR_FILE_INVALID);
  sim::RemovePath(Files(), u"C:\\alias");
  EXPECT_TRUE(Open(u"C:\\dir\\file"));
  sim::NodeAt(Files(), u"C:\\dir\\file").reportedLinks = 0;
  ExpectRefused(u"C:\\dir\\file", platform::ERROR_FILE_INVALID);
}

TEST_F(VerifiedFile, MayBeAsLongAsItsLimit) {
  EXPECT_TRUE(Open(u"C:\\dir\\file", 7));
  EXPECT_FALSE(Open(u"C:\\dir\\file", 6));
  EXPECT_LAST_ERROR(ERROR_FILE_INVALID);
}

TEST_F(VerifiedFile, CountsItsSizeIn64Bits) {
  constexpr std::uint64_t kSize = (std::uint64_t{5} << 32) + 1;
  sim::PutEmptyFile(Files(), u"C:\\huge", kSize);
  EXPECT_EQ(Open(u"C:\\huge", kSize).Size(), kSize);
  EXPECT_FALSE(Open(u"C:\\huge", kSize - 1));
  EXPECT_LAST_ERROR(ERROR_FILE_INVALID);
}

TEST_F(VerifiedFile, MustBeOnADisk) {
  sim::NodeAt(Files(), u"C:\\dir\\file").reportedType = platform::FILE_TYPE_PIPE;
  ExpectRefused(u"C:\\dir\\file", platform::ERROR_FILE_INVALID);
}

TEST_F(VerifiedFile, KeepsTheErrorOfAFailedQuery) {
  FailCall("GetFileInformationByHandle", platform::ERROR_NOT_READY);
  ExpectRefused(u"C:\\dir\\file", platform::ERROR_NOT_READY);
  FailCall("GetFileInformationByHandleEx", platform::ERROR_GEN_FAILURE, 3);
  ExpectRefused(u"C:\\dir\\file", platform::ERROR_GEN_FAILURE);
}

TEST_F(VerifiedFile, IgnoresTheOutputOfACallThatFailed) {
  struct Row {
    const char* call;
    std::uint32_t number;  // the file's own
  };
  for (const Row& row :
       {Row{"GetFileInformationByHandle", 1}, Row{"GetFileInformationByHandleEx", 3}}) {
    AddFault(row.call, sim::FaultKind::FailAfterEffect, row.number).error =
        platform::ERROR_NOT_READY;
    ExpectRefused(u"C:\\dir\\file", platform::ERROR_NOT_READY);
  }
}

TEST_F(VerifiedFile, IsRefusedWhileSomebodyElseCanWriteToIt) {
  const auto hold = sim::HoldOpen(Files(), u"C:\\dir\\file", platform::FILE_WRITE_DATA,
                                  platform::FILE_SHARE_READ | platform::FILE_SHARE_WRITE);
  ExpectRefused(u"C:\\dir\\file", platform::ERROR_SHARING_VIOLATION);
  sim::ReleaseHold(Files(), hold);
  EXPECT_TRUE(Open(u"C:\\dir\\file"));
}

TEST_F(VerifiedFile, CanOnlyBeReadByOthersWhileItIsHeld) {
  const File file = Open(u"C:\\dir\\file");
  const Directory folder = Directory::OpenAbsolute(u"C:\\dir", api);
  const auto openAs = [&](std::uint32_t access) {
    platform::HANDLE other = nullptr;
    const platform::UNICODE_STRING name = {8, 8, u"file"};
    const platform::OBJECT_ATTRIBUTES attributes = {
        sizeof attributes, folder.Handle(), &name, platform::OBJ_CASE_INSENSITIVE,
        nullptr,           nullptr};
    platform::IO_STATUS_BLOCK ioStatus = {};
    const platform::NTSTATUS status = api.ntCreateFile(
        &other, access | platform::SYNCHRONIZE, &attributes, &ioStatus, nullptr, 0,
        platform::FILE_SHARE_READ | platform::FILE_SHARE_WRITE | platform::FILE_SHARE_DELETE,
        platform::FILE_OPEN, platform::FILE_NON_DIRECTORY_FILE, nullptr, 0);
    if (status >= 0) platform::CloseHandle(other);
    return status;
  };
  EXPECT_EQ(openAs(platform::FILE_READ_DATA), platform::STATUS_SUCCESS);
  EXPECT_EQ(openAs(platform::FILE_WRITE_DATA), platform::STATUS_SHARING_VIOLATION);
  EXPECT_EQ(openAs(platform::FILE_APPEND_DATA), platform::STATUS_SHARING_VIOLATION);
  EXPECT_EQ(openAs(platform::DELETE), platform::STATUS_SHARING_VIOLATION);
}

TEST_F(VerifiedFile, IsCreatedEmptyWritableAndDeletable) {
  const Directory folder = Directory::OpenAbsolute(u"C:\\dir", api);
  const File file = File::Create(folder, u"new", descriptor.Get(), 10);
  ASSERT_TRUE(file);
  EXPECT_EQ(file.Size(), 0U);
  EXPECT_TRUE(file.IsWritable());
  EXPECT_TRUE(file.IsDeletable());
  EXPECT_EQ(file.Path(), std::u16string(kGuidRoot) + u"dir\\new");
  EXPECT_EQ(sim::ToSddl(sim::NodeAt(Files(), u"C:\\dir\\new").security), tests::kProtectedSddl);
}

TEST_F(VerifiedFile, IsNotCreatedOverAnExistingName) {
  const Directory folder = Directory::OpenAbsolute(u"C:\\dir", api);
  for (const char16_t* name : {u"FILE", u"sub"}) {
    EXPECT_FALSE(File::Create(folder, name, descriptor.Get(), 10));
    EXPECT_LAST_ERROR(ERROR_ALREADY_EXISTS);
  }
  EXPECT_EQ(sim::ReadWholeFile(Files(), u"C:\\dir\\file")->size(), 7U);
}

TEST_F(VerifiedFile, IsNotCreatedWithoutASafeNameAndADescriptor) {
  const Directory folder = Directory::OpenAbsolute(u"C:\\dir", api);
  for (const char16_t* name : {u"", u"sub\\x", u"x.", u"prn.txt"}) {
    EXPECT_FALSE(File::Create(folder, name, descriptor.Get(), 10));
    EXPECT_LAST_ERROR(ERROR_INVALID_NAME);
  }
  EXPECT_FALSE(File::Create(folder, u"x", nullptr, 10));
  EXPECT_LAST_ERROR(ERROR_INVALID_PARAMETER);
}

TEST_F(VerifiedFile, LeavesNothingOfACreationThatFailsItsCheck) {
  const Directory folder = Directory::OpenAbsolute(u"C:\\dir", api);
  FailCall("GetFileInformationByHandle", platform::ERROR_NOT_READY);
  EXPECT_FALSE(File::Create(folder, u"new", descriptor.Get(), 10));
  EXPECT_LAST_ERROR(ERROR_NOT_READY);
  EXPECT_FALSE(Exists(u"C:\\dir\\new"));
  EXPECT_EQ(CallsOf("SetFileInformationByHandle").size(), 1U);
}

TEST_F(VerifiedFile, ReportsWhyItsCreationFailedEvenIfItCannotBeDeleted) {
  const Directory folder = Directory::OpenAbsolute(u"C:\\dir", api);
  FailCall("GetFileInformationByHandle", platform::ERROR_NOT_READY);
  FailCall("SetFileInformationByHandle", platform::ERROR_GEN_FAILURE);
  EXPECT_FALSE(File::Create(folder, u"new", descriptor.Get(), 10));
  EXPECT_LAST_ERROR(ERROR_NOT_READY);
}

TEST_F(VerifiedFile, CapturesAChangedSizeWithinItsLimit) {
  const Directory folder = Directory::OpenAbsolute(u"C:\\dir", api);
  File file = File::Create(folder, u"new", descriptor.Get(), 4);
  std::uint32_t written = 0;
  ASSERT_TRUE(platform::WriteFile(file.Handle(), "abcd", 4, &written));
  EXPECT_EQ(file.Size(), 0U);
  EXPECT_TRUE(file.CaptureIdentity());
  EXPECT_EQ(file.Size(), 4U);
  ASSERT_TRUE(platform::WriteFile(file.Handle(), "e", 1, &written));
  EXPECT_FALSE(file.CaptureIdentity());
  EXPECT_LAST_ERROR(ERROR_FILE_INVALID);
  EXPECT_EQ(file.Size(), 4U) << "what was captured last";
}

TEST_F(VerifiedFile, CapturesNothingWhenItIsNotOpen) {
  File closed = Open(u"C:\\dir\\file");
  closed.Close();
  File none;
  for (File* file : {&closed, &none}) {
    platform::SetLastError(0);
    EXPECT_FALSE(file->CaptureIdentity());
    EXPECT_LAST_ERROR(ERROR_FILE_INVALID);
  }
}

class FileCopy : public VerifiedFile {
 protected:
  static constexpr std::uint64_t kMebibyte = 1048576;

  static sim::Bytes Pattern(std::size_t size) {
    sim::Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i)
      bytes[i] = static_cast<std::uint8_t>(i * 31 + i / 257);
    return bytes;
  }
  File OpenSource(sim::Bytes content) {
    sim::PutFile(Files(), u"C:\\source", std::move(content));
    return Open(u"C:\\source", 100 * kMebibyte);
  }
  File CreateTarget(std::uint64_t maxSize) {
    return File::Create(Directory::OpenAbsolute(u"C:\\dir", api), u"copy", descriptor.Get(),
                        maxSize);
  }
  /// Copies `size` bytes and returns the sizes of the reads.
  std::vector<std::string> CopyBytes(std::size_t size) {
    sim::RemovePath(Files(), u"C:\\dir\\copy");
    const File source = OpenSource(Pattern(size));
    File target = CreateTarget(size);
    process.calls.clear();
    EXPECT_TRUE(File::CopyFrom(target, source)) << platform::GetLastError();
    EXPECT_EQ(target.Size(), size);
    EXPECT_EQ(*sim::ReadWholeFile(Files(), u"C:\\dir\\copy"), Pattern(size));
    std::vector<std::string> sizes;
    for (const auto& call : CallsOf("ReadFile"))
      sizes.push_back(call.Argument("nNumberOfBytesToRead"));
    EXPECT_EQ(CallsOf("WriteFile").size(), sizes.size());
    return sizes;
  }
};

TEST_F(FileCopy, CopiesInPiecesOfAMebibyte) {
  EXPECT_EQ(CopyBytes(0), std::vector<std::string>{});
  EXPECT_EQ(CopyBytes(1), std::vector<std::string>{"1"});
  EXPECT_EQ(CopyBytes(kMebibyte), std::vector<std::string>{"1048576"});
  EXPECT_EQ(CopyBytes(2 * kMebibyte + 3), (std::vector<std::string>{"1048576", "1048576", "3"}));
}

TEST_F(FileCopy, LeavesNothingOfTheFileThatWasCopiedBefore) {
  CopyBytes(1000);
  CopyBytes(10);
}

TEST_F(FileCopy, SetsTheEndOfTheFileThenFlushesThenCaptures) {
  CopyBytes(5);
  std::vector<std::string> names;
  for (const auto& call : process.calls) {
    if (call.name != "CloseHandle") names.push_back(call.name);
  }
  EXPECT_EQ(names, (std::vector<std::string>{"SetFilePointerEx", "SetFilePointerEx", "ReadFile",
                                             "WriteFile", "SetEndOfFile", "FlushFileBuffers",
                                             "GetFileType", "GetFileInformationByHandleEx",
                                             "GetFileInformationByHandle"}));
}

TEST_F(FileCopy, StartsAtTheBeginningOfBothFiles) {
  const File source = OpenSource(Pattern(10));
  File target = CreateTarget(10);
  std::uint32_t moved = 0;
  sim::Bytes buffer(10);
  ASSERT_TRUE(platform::ReadFile(source.Handle(), buffer.data(), 7, &moved));
  ASSERT_TRUE(platform::WriteFile(target.Handle(), buffer.data(), 3, &moved));
  EXPECT_TRUE(File::CopyFrom(target, source));
  EXPECT_EQ(*sim::ReadWholeFile(Files(), u"C:\\dir\\copy"), Pattern(10));
}

TEST_F(FileCopy, TruncatesTheTarget) {
  File target = CreateTarget(100);
  std::uint32_t written = 0;
  ASSERT_TRUE(platform::WriteFile(target.Handle(), Pattern(50).data(), 50, &written));
  EXPECT_TRUE(File::CopyFrom(target, OpenSource(Pattern(10))));
  EXPECT_EQ(target.Size(), 10U);
}

TEST_F(FileCopy, NeedsAWritableTargetThatIsLargeEnough) {
  const File source = OpenSource(Pattern(10));
  File target = CreateTarget(9);
  EXPECT_FALSE(File::CopyFrom(target, source));
  EXPECT_LAST_ERROR(ERROR_FILE_INVALID);
  File readOnly = Open(u"C:\\dir\\file");
  EXPECT_FALSE(File::CopyFrom(readOnly, source));
  EXPECT_LAST_ERROR(ERROR_INVALID_HANDLE);
  EXPECT_FALSE(File::CopyFrom(target, {}));
  EXPECT_LAST_ERROR(ERROR_INVALID_HANDLE);
  File none;
  EXPECT_FALSE(File::CopyFrom(none, source));
  EXPECT_LAST_ERROR(ERROR_INVALID_HANDLE);
  EXPECT_TRUE(CallsOf("WriteFile").empty());
}

TEST_F(FileCopy, MakesNoCallUnlessBothFilesAreOpen) {
  const File source = OpenSource(Pattern(10));
  File target = CreateTarget(10);
  process.calls.clear();
  EXPECT_FALSE(File::CopyFrom(target, {}));
  EXPECT_LAST_ERROR(ERROR_INVALID_HANDLE);
  EXPECT_TRUE(process.calls.empty());
  target.Close();
  process.calls.clear();
  platform::SetLastError(0);
  EXPECT_FALSE(File::CopyFrom(target, source));
  EXPECT_LAST_ERROR(ERROR_INVALID_HANDLE);
  EXPECT_TRUE(process.calls.empty());
}

TEST_F(FileCopy, CountsTheSizeIn64Bits) {
  constexpr std::uint64_t kSize = (std::uint64_t{1} << 32) + 5;
  sim::PutEmptyFile(Files(), u"C:\\source", kSize);
  const File source = Open(u"C:\\source", kSize);
  File small = CreateTarget(100);
  platform::SetLastError(0);
  EXPECT_FALSE(File::CopyFrom(small, source));
  EXPECT_LAST_ERROR(ERROR_FILE_INVALID);
  EXPECT_TRUE(CallsOf("ReadFile").empty());
  small = File();
  sim::RemovePath(Files(), u"C:\\dir\\copy");
  File target = CreateTarget(kSize);
  FailCall("WriteFile", platform::ERROR_DISK_FULL);
  EXPECT_FALSE(File::CopyFrom(target, source));
  EXPECT_LAST_ERROR(ERROR_DISK_FULL);
  ASSERT_EQ(CallsOf("ReadFile").size(), 1U);
  EXPECT_EQ(CallsOf("ReadFile")[0].Argument("nNumberOfBytesToRead"), "1048576");
}

TEST_F(FileCopy, FailsWhenTheSourceTurnsOutShorter) {
  const File source = OpenSource(Pattern(10));
  File target = CreateTarget(10);
  sim::PutFile(Files(), u"C:\\source", Pattern(4));
  EXPECT_FALSE(File::CopyFrom(target, source));
  EXPECT_LAST_ERROR(ERROR_FILE_INVALID);
}

TEST_F(FileCopy, CopiesNoMoreThanWasCaptured) {
  const File source = OpenSource(Pattern(10));
  File target = CreateTarget(10);
  sim::PutFile(Files(), u"C:\\source", Pattern(40));
  EXPECT_TRUE(File::CopyFrom(target, source));
  EXPECT_EQ(*sim::ReadWholeFile(Files(), u"C:\\dir\\copy"), Pattern(10));
}

TEST_F(FileCopy, FailsOnAShortReadOrWrite) {
  for (const char* call : {"ReadFile", "WriteFile"}) {
    sim::RemovePath(Files(), u"C:\\dir\\copy");
    const File source = OpenSource(Pattern(10));
    File target = CreateTarget(10);
    AddFault(call, sim::FaultKind::Short).amount = 9;
    platform::SetLastError(0);
    EXPECT_FALSE(File::CopyFrom(target, source)) << call;
    EXPECT_LAST_ERROR(ERROR_FILE_INVALID) << call;
  }
}

TEST_F(FileCopy, RewindsTheTargetAndThenTheSource) {
  const File source = OpenSource(Pattern(10));
  File target = CreateTarget(10);
  ASSERT_TRUE(File::CopyFrom(target, source));
  const auto calls = CallsOf("SetFilePointerEx");
  ASSERT_EQ(calls.size(), 2U);
  EXPECT_EQ(calls[0].Argument("hFile"), sim::RenderArgument(target.Handle()));
  EXPECT_EQ(calls[1].Argument("hFile"), sim::RenderArgument(source.Handle()));
}

TEST_F(FileCopy, FailsWhenEitherFileCannotBeRewound) {
  for (const std::uint32_t file : {1U, 2U}) {
    sim::RemovePath(Files(), u"C:\\dir\\copy");
    const File source = OpenSource(Pattern(10));
    File target = CreateTarget(10);
    FailCall("SetFilePointerEx", platform::ERROR_DISK_FULL, file);
    process.calls.clear();
    EXPECT_FALSE(File::CopyFrom(target, source));
    EXPECT_EQ(process.calls.size(), file);
  }
}

TEST_F(FileCopy, FailsWhenTheTargetTurnsOutLongerThanItsLimit) {
  const File source = OpenSource(Pattern(10));
  File target = CreateTarget(10);
  ChangeBefore("FlushFileBuffers", 1, [](sim::Machine& changed) {
    sim::PutFile(changed.files, u"C:\\dir\\copy", Pattern(11));
  });
  EXPECT_FALSE(File::CopyFrom(target, source));
  EXPECT_LAST_ERROR(ERROR_FILE_INVALID);
}

TEST_F(FileCopy, FailsWithTheErrorOfTheCallThatFailed) {
  for (const char* call : {"SetFilePointerEx", "ReadFile", "WriteFile", "SetEndOfFile",
                           "FlushFileBuffers", "GetFileInformationByHandle"}) {
    sim::RemovePath(Files(), u"C:\\dir\\copy");
    const File source = OpenSource(Pattern(10));
    File target = CreateTarget(10);
    FailCall(call, platform::ERROR_DISK_FULL);
    EXPECT_FALSE(File::CopyFrom(target, source)) << call;
    EXPECT_LAST_ERROR(ERROR_DISK_FULL) << call;
  }
}

TEST_F(VerifiedFile, IsNotOpenedBelowAFolderThatIsMissing) {
  const Directory root = Directory::OpenAbsolute(u"C:\\", api);
  platform::SetLastError(0);
  EXPECT_FALSE(File::Open(root, u"missing\\inner", 100, FileMode::ReadOnly));
  EXPECT_LAST_ERROR(ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(OpenHandles(), 1U);
}

}  // namespace
}  // namespace vorn::privileged_input

#include "base/text.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/native_status.h"
#include "platform/simulated/native_values.h"
#include "tests/simulated/file_world.h"

namespace vorn::platform::simulated {
namespace {

using FileNames = FileWorld;
using FileOpening = FileWorld;
using FileCreation = FileWorld;
using FileLinks = FileWorld;

TEST_F(FileNames, OpensAVolumesRootByItsNativeName) {
  const HANDLE root = Open(u"\\Device\\HarddiskVolume3\\", Folder());
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(AttributesOf(root),
            FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM);
}

TEST_F(FileNames, DistinguishesTheVolumeDeviceFromItsRoot) {
  EXPECT_EQ(Open(u"\\Device\\HarddiskVolume3", Folder()), nullptr);
  EXPECT_EQ(Status(), STATUS_NOT_A_DIRECTORY);
}

TEST_F(FileNames, WalksRelativeToAFoldersHandleComponentByComponent) {
  const HANDLE root = Open(u"\\Device\\HarddiskVolume3\\", Folder());
  const HANDLE folder = Open(u"a", Folder(), root);
  ASSERT_NE(folder, nullptr);
  const HANDLE file = Open(u"file.txt", {}, folder);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(ReadAll(file), "content");
}

TEST_F(FileNames, AcceptsANameOfSeveralComponents) {
  const HANDLE root = Open(u"\\Device\\HarddiskVolume3\\", Folder());
  EXPECT_NE(Open(u"a\\file.txt", {}, root), nullptr);
  EXPECT_NE(Open(u"\\Device\\HarddiskVolume3\\a\\file.txt"), nullptr);
}

TEST_F(FileNames, IgnoresTheCaseOfLetters) {
  EXPECT_NE(Open(u"\\DEVICE\\HARDDISKVOLUME3\\A\\FILE.TXT"), nullptr);
}

TEST_F(FileNames, ReopensAFolderByAnEmptyRelativeName) {
  const HANDLE folder = OpenPath(u"C:\\a", Folder());
  EXPECT_NE(Open(u"", Folder(), folder), nullptr);
}

TEST_F(FileNames, FindsAFileByItsShortName) {
  PutFile(Files(), u"C:\\a\\a long name.txt", std::string_view("long"));
  SetShortName(Files(), u"C:\\a\\a long name.txt", u"ALONGN~1.TXT");
  const HANDLE file = OpenPath(u"C:\\a\\alongn~1.txt");
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(ReadAll(file), "long");
}

TEST_F(FileNames, FindsNothingByAnUnusedShortName) {
  EXPECT_EQ(StatusOf(u"C:\\a\\other~1.txt"), STATUS_OBJECT_NAME_NOT_FOUND);
}

TEST_F(FileNames, OpensThroughADriveLetterUnlessLinksAreForbidden) {
  How follow = Follow({});
  EXPECT_NE(Open(u"\\??\\C:\\a\\file.txt", follow), nullptr);
  EXPECT_NE(Open(u"\\??\\Volume{01234567-89ab-cdef-0123-456789abcdef}\\a\\file.txt", follow),
            nullptr);
  EXPECT_EQ(Open(u"\\??\\C:\\a\\file.txt"), nullptr);
  EXPECT_EQ(Status(), STATUS_REPARSE_POINT_ENCOUNTERED);
}

struct BadName {
  const char16_t* name;
  bool relative;
  NTSTATUS status;
};

TEST_F(FileNames, RefusesNamesThatAreNotNative) {
  const std::u16string long255(255, u'x');
  const std::u16string long256(256, u'x');
  const BadName cases[] = {
      {u"a", false, STATUS_OBJECT_PATH_SYNTAX_BAD},
      {u"\\a", true, STATUS_OBJECT_NAME_INVALID},
      {u"a\\\\file.txt", true, STATUS_OBJECT_NAME_INVALID},
      {u"a\\.\\file.txt", true, STATUS_OBJECT_NAME_INVALID},
      {u"a\\..\\a", true, STATUS_OBJECT_NAME_INVALID},
      {u"a*", true, STATUS_OBJECT_NAME_INVALID},
      {u"a/file.txt", true, STATUS_OBJECT_NAME_INVALID},
      {u"a:stream", true, STATUS_OBJECT_NAME_INVALID},
      {u"a\x1", true, STATUS_OBJECT_NAME_INVALID},
      {u"a\\file.txt\\", true, STATUS_OBJECT_NAME_INVALID},
      {long255.c_str(), true, STATUS_OBJECT_NAME_NOT_FOUND},
      {long256.c_str(), true, STATUS_OBJECT_NAME_INVALID},
      {u"\\Device\\HarddiskVolume33", false, STATUS_OBJECT_NAME_NOT_FOUND},
      {u"\\Device\\HarddiskVolume33\\a", false, STATUS_OBJECT_PATH_NOT_FOUND},
      {u"\\??\\D:\\a", false, STATUS_OBJECT_PATH_NOT_FOUND},
      {u"\\??\\D:", false, STATUS_OBJECT_NAME_NOT_FOUND},
      {u"\\??\\UNC\\server\\share", false, STATUS_BAD_NETWORK_PATH},
  };
  const HANDLE root = Open(u"\\Device\\HarddiskVolume3\\", Folder());
  for (const BadName& bad : cases) {
    EXPECT_EQ(Open(bad.name, {}, bad.relative ? root : nullptr), nullptr);
    EXPECT_EQ(Status(), bad.status) << ::testing::PrintToString(std::u16string(bad.name));
  }
}

TEST_F(FileNames, RefusesACountedStringOfOddLength) {
  TheProcess();
  const UNICODE_STRING text = {3, 3, u"ab"};
  const OBJECT_ATTRIBUTES attributes = {
      sizeof(OBJECT_ATTRIBUTES), nullptr, &text, 0, nullptr, nullptr};
  const auto create = reinterpret_cast<NtCreateFileFunction>(
      GetProcAddress(GetModuleHandleW(u"ntdll.dll"), "NtCreateFile"));
  HANDLE handle = nullptr;
  IO_STATUS_BLOCK io = {};
  EXPECT_EQ(create(&handle, GENERIC_READ | SYNCHRONIZE, &attributes, &io, nullptr, 0, 0, FILE_OPEN,
                   kFileOptions, nullptr, 0),
            STATUS_OBJECT_NAME_INVALID);
}

TEST_F(FileNames, RefusesAnAttributeRecordOfTheWrongLength) {
  TheProcess();
  const UNICODE_STRING text = {2, 2, u"a"};
  const OBJECT_ATTRIBUTES attributes = {40, nullptr, &text, 0, nullptr, nullptr};
  const auto create = reinterpret_cast<NtCreateFileFunction>(
      GetProcAddress(GetModuleHandleW(u"ntdll.dll"), "NtCreateFile"));
  HANDLE handle = nullptr;
  IO_STATUS_BLOCK io = {};
  EXPECT_EQ(create(&handle, GENERIC_READ | SYNCHRONIZE, &attributes, &io, nullptr, 0, 0, FILE_OPEN,
                   kFileOptions, nullptr, 0),
            STATUS_INVALID_PARAMETER);
}

TEST_F(FileNames, RefusesARootThatIsNotAnOpenFile) {
  TheProcess();
  EXPECT_EQ(Open(u"a", Folder(), reinterpret_cast<HANDLE>(std::uintptr_t{0x1234})), nullptr);
  EXPECT_EQ(Status(), STATUS_INVALID_HANDLE);
}

TEST_F(FileOpening, DistinguishesAMissingNameFromAMissingPath) {
  EXPECT_EQ(StatusOf(u"C:\\a\\none.txt"), STATUS_OBJECT_NAME_NOT_FOUND);
  EXPECT_EQ(StatusOf(u"C:\\none\\file.txt"), STATUS_OBJECT_PATH_NOT_FOUND);
  EXPECT_EQ(StatusOf(u"C:\\a\\file.txt\\below"), STATUS_OBJECT_PATH_NOT_FOUND);
}

TEST_F(FileOpening, DistinguishesAFileFromAFolder) {
  EXPECT_EQ(StatusOf(u"C:\\a\\file.txt", Folder()), STATUS_NOT_A_DIRECTORY);
  EXPECT_EQ(StatusOf(u"C:\\a"), STATUS_FILE_IS_A_DIRECTORY);
}

TEST_F(FileOpening, ReportsThatItOpened) {
  OpenPath(u"C:\\a\\file.txt");
  EXPECT_EQ(IoStatus().Status, STATUS_SUCCESS);
  EXPECT_EQ(IoStatus().Information, 1U);  // FILE_OPENED
}

TEST_F(FileOpening, RefusesContradictoryOptions) {
  How both;
  both.options = kFileOptions | FILE_DIRECTORY_FILE;
  EXPECT_EQ(StatusOf(u"C:\\a", both), STATUS_INVALID_PARAMETER);
  How unknown;
  unknown.disposition = 17;
  EXPECT_EQ(StatusOf(u"C:\\a\\file.txt", unknown), STATUS_INVALID_PARAMETER);
}

TEST_F(FileOpening, LeavesTheHandleUntouchedWhenItFails) {
  TheProcess();
  const UNICODE_STRING text = {2, 2, u"a"};
  const OBJECT_ATTRIBUTES attributes = {
      sizeof(OBJECT_ATTRIBUTES), nullptr, &text, 0, nullptr, nullptr};
  const auto create = reinterpret_cast<NtCreateFileFunction>(
      GetProcAddress(GetModuleHandleW(u"ntdll.dll"), "NtCreateFile"));
  const auto before = reinterpret_cast<HANDLE>(std::uintptr_t{0x77});
  HANDLE handle = before;
  IO_STATUS_BLOCK io = {};
  create(&handle, GENERIC_READ | SYNCHRONIZE, &attributes, &io, nullptr, 0, 0, FILE_OPEN,
         kFileOptions, nullptr, 0);
  EXPECT_EQ(handle, before);
}

TEST_F(FileOpening, EndsWhenItsHandleCloses) {
  const HANDLE file = OpenPath(u"C:\\a\\file.txt");
  EXPECT_EQ(CountOwnOpens(Files()), 1U);
  EXPECT_TRUE(CloseHandle(file));
  EXPECT_EQ(CountOwnOpens(Files()), 0U);
  EXPECT_TRUE(FailsWith(CloseHandle(file), ERROR_INVALID_HANDLE));
}

TEST_F(FileOpening, EndsWhenItsProcessEndsOrDies) {
  OpenPath(u"C:\\a\\file.txt");
  EndProcess();
  EXPECT_EQ(CountOwnOpens(Files()), 0U);
  OpenPath(u"C:\\a\\file.txt");
  TheProcess().Kill();
  EXPECT_EQ(CountOwnOpens(Files()), 0U);
}

TEST_F(FileOpening, IsCountedAsAHandleOfTheProcess) {
  OpenPath(u"C:\\a\\file.txt");
  EXPECT_EQ(TheProcess().OpenObjects(),
            (std::map<ObjectKind, std::size_t>{{ObjectKind::Handle, 1}}));
}

TEST_F(FileOpening, ShowsEveryArgumentInTheLog) {
  TheProcess().logCalls = true;
  const HANDLE root = Open(u"\\Device\\HarddiskVolume3\\", Folder());
  EXPECT_NE(root, nullptr);
  const CallRecord& call = TheProcess().calls.back();
  EXPECT_EQ(call.name, "NtCreateFile");
  EXPECT_EQ(call.Argument("ObjectName"), "\\Device\\HarddiskVolume3\\");
  EXPECT_EQ(call.Argument("DesiredAccess"), "0x1200A1");
  EXPECT_EQ(call.Argument("Attributes"), "0x1040");
  EXPECT_EQ(call.Argument("ShareAccess"), "0x1");
  EXPECT_EQ(call.Argument("CreateOptions"), "0x200021");
  EXPECT_EQ(call.Argument("Length"), "48");
}

TEST_F(FileOpening, ReportsSuccessWithoutAHandleWhenPlanned) {
  Fault fault;
  fault.call = "NtCreateFile";
  fault.kind = FaultKind::SucceedWithoutEffect;
  TheProcess().faults.push_back(fault);
  EXPECT_EQ(OpenPath(u"C:\\a\\file.txt"), nullptr);
  EXPECT_EQ(Status(), STATUS_SUCCESS);
}

TEST_F(FileOpening, FailsAsPlannedByAStatusOrAWin32Code) {
  Fault status;
  status.call = "NtCreateFile";
  status.error = static_cast<std::uint32_t>(STATUS_INSUFFICIENT_RESOURCES);
  Fault code = status;
  code.first = code.last = 2;
  code.error = ERROR_NOT_READY;
  TheProcess().faults = {status, code};
  EXPECT_EQ(StatusOf(u"C:\\a\\file.txt"), STATUS_INSUFFICIENT_RESOURCES);
  const NTSTATUS wrapped = StatusOf(u"C:\\a\\file.txt");
  EXPECT_LT(wrapped, 0);
  EXPECT_EQ(ToDosError(wrapped), ERROR_NOT_READY);
}

TEST_F(FileCreation, MakesAnEmptyFileWithOneLink) {
  const HANDLE file = OpenPath(u"C:\\a\\new.txt", New());
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(IoStatus().Information, 2U);  // FILE_CREATED
  const BY_HANDLE_FILE_INFORMATION facts = FactsOf(file);
  EXPECT_EQ(facts.nNumberOfLinks, 1U);
  EXPECT_EQ(facts.nFileSizeLow, 0U);
  EXPECT_EQ(facts.dwFileAttributes, FILE_ATTRIBUTE_ARCHIVE);
  EXPECT_EQ(ListFolder(Files(), u"C:\\a"), (std::vector<std::u16string>{u"file.txt", u"new.txt"}));
}

TEST_F(FileCreation, KeepsTheNameAsWritten) {
  OpenPath(u"C:\\a\\NeW.TxT", New());
  EXPECT_EQ(ListFolder(Files(), u"C:\\a").back(), u"NeW.TxT");
}

TEST_F(FileCreation, MakesAFolder) {
  const HANDLE folder = OpenPath(u"C:\\a\\sub", NewFolder());
  ASSERT_NE(folder, nullptr);
  EXPECT_EQ(AttributesOf(folder), FILE_ATTRIBUTE_DIRECTORY);
}

TEST_F(FileCreation, RefusesANameInUse) {
  EXPECT_EQ(StatusOf(u"C:\\a\\FILE.txt", New()), STATUS_OBJECT_NAME_COLLISION);
  EXPECT_EQ(StatusOf(u"C:\\a", NewFolder()), STATUS_OBJECT_NAME_COLLISION);
  EXPECT_EQ(StatusOf(u"C:\\a", New()), STATUS_OBJECT_NAME_COLLISION);
  EXPECT_EQ(Content(u"C:\\a\\file.txt"), "content");
}

TEST_F(FileCreation, RefusesTheRootItself) {
  EXPECT_EQ(StatusOf(u"C:\\", NewFolder()), STATUS_ACCESS_DENIED);
}

TEST_F(FileCreation, OpensOrCreatesOnRequest) {
  How either = New();
  either.disposition = FILE_OPEN_IF;
  OpenPath(u"C:\\a\\file.txt", either);
  EXPECT_EQ(IoStatus().Information, 1U);
  OpenPath(u"C:\\a\\new.txt", either);
  EXPECT_EQ(IoStatus().Information, 2U);
}

TEST_F(FileCreation, FailsOnAFullDiskAndOnAReadOnlyVolume) {
  Files().volumes[0].freeBytes = 0;
  EXPECT_EQ(StatusOf(u"C:\\a\\new.txt", New()), STATUS_DISK_FULL);
  Files().volumes[0].readOnly = true;
  EXPECT_EQ(StatusOf(u"C:\\a\\new.txt", New()), STATUS_MEDIA_WRITE_PROTECTED);
  EXPECT_EQ(StatusOf(u"C:\\a\\file.txt", With(GENERIC_WRITE)), STATUS_MEDIA_WRITE_PROTECTED);
  EXPECT_EQ(StatusOf(u"C:\\a\\file.txt"), STATUS_SUCCESS);
  EXPECT_FALSE(Exists(u"C:\\a\\new.txt"));
}

TEST_F(FileCreation, RefusesAFolderThatIsBeingDeleted) {
  MakeFolder(Files(), u"C:\\gone");
  How folder = Folder();
  folder.access |= DELETE;
  const HANDLE handle = OpenPath(u"C:\\gone", folder);
  ASSERT_TRUE(Dispose(handle));
  EXPECT_EQ(Open(u"new.txt", New(), handle), nullptr);
  EXPECT_EQ(Status(), STATUS_DELETE_PENDING);
}

TEST_F(FileLinks, AreOpenedAsThemselvesAtTheEndOfAName) {
  MakeFolder(Files(), u"C:\\real");
  PutLink(Files(), u"C:\\junction", ReparseKind::Junction, u"C:\\real", true);
  PutLink(Files(), u"C:\\symlink.txt", ReparseKind::SymbolicLink, u"C:\\a\\file.txt", false);
  const HANDLE junction = OpenPath(u"C:\\junction", Folder());
  ASSERT_NE(junction, nullptr);
  EXPECT_EQ(AttributesOf(junction), FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT);
  const HANDLE symlink = OpenPath(u"C:\\symlink.txt");
  ASSERT_NE(symlink, nullptr);
  EXPECT_EQ(AttributesOf(symlink), FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_REPARSE_POINT);
}

TEST_F(FileLinks, ReportTheirTag) {
  PutLink(Files(), u"C:\\junction", ReparseKind::Junction, u"C:\\a", true);
  PutLink(Files(), u"C:\\symlink", ReparseKind::SymbolicLink, u"C:\\a", true);
  FILE_ATTRIBUTE_TAG_INFO info = {};
  GetFileInformationByHandleEx(OpenPath(u"C:\\junction", Folder()), FileAttributeTagInfo, &info,
                               sizeof info);
  EXPECT_EQ(info.ReparseTag, 0xA0000003U);
  GetFileInformationByHandleEx(OpenPath(u"C:\\symlink", Folder()), FileAttributeTagInfo, &info,
                               sizeof info);
  EXPECT_EQ(info.ReparseTag, 0xA000000CU);
}

TEST_F(FileLinks, OnTheWayFailAnOpenThatForbidsThem) {
  PutLink(Files(), u"C:\\junction", ReparseKind::Junction, u"C:\\a", true);
  EXPECT_EQ(StatusOf(u"C:\\junction\\file.txt"), STATUS_REPARSE_POINT_ENCOUNTERED);
  How lastToo = Folder();
  lastToo.options &= ~FILE_OPEN_REPARSE_POINT;
  EXPECT_EQ(StatusOf(u"C:\\junction", lastToo), STATUS_REPARSE_POINT_ENCOUNTERED);
}

TEST_F(FileLinks, AreFollowedWhereAllowed) {
  PutLink(Files(), u"C:\\junction", ReparseKind::Junction, u"C:\\a", true);
  PutLink(Files(), u"C:\\native", ReparseKind::Junction, u"\\??\\C:\\a", true);
  PutLink(Files(), u"C:\\x\\relative", ReparseKind::SymbolicLink, u"..\\a", true);
  PutLink(Files(), u"C:\\x\\rooted", ReparseKind::SymbolicLink, u"\\a\\file.txt", false);
  PutLink(Files(), u"C:\\chain", ReparseKind::SymbolicLink, u"x\\relative", true);
  for (const char16_t* path :
       {u"C:\\junction\\file.txt", u"C:\\native\\file.txt", u"C:\\x\\relative\\file.txt",
        u"C:\\x\\rooted", u"C:\\chain\\file.txt"}) {
    const HANDLE file = OpenPath(path, Follow({}));
    ASSERT_NE(file, nullptr) << ::testing::PrintToString(std::u16string(path));
    EXPECT_EQ(ReadAll(file), "content");
  }
}

TEST_F(FileLinks, FailWhenTheyLeadNowhereOrInACircle) {
  PutLink(Files(), u"C:\\dangling", ReparseKind::Junction, u"C:\\none\\deep", true);
  PutLink(Files(), u"C:\\circle", ReparseKind::SymbolicLink, u"circle", true);
  PutLink(Files(), u"C:\\other", ReparseKind::Other, u"", true);
  EXPECT_EQ(StatusOf(u"C:\\dangling\\x", Follow({})), STATUS_OBJECT_PATH_NOT_FOUND);
  EXPECT_EQ(StatusOf(u"C:\\circle\\x", Follow({})), STATUS_REPARSE_POINT_NOT_RESOLVED);
  EXPECT_EQ(StatusOf(u"C:\\other\\x", Follow({})), STATUS_IO_REPARSE_TAG_NOT_HANDLED);
}

TEST_F(FileLinks, OfEveryKindEndAnOpenThatTakesNone) {
  PutLink(Files(), u"C:\\junction", ReparseKind::Junction, u"C:\\a", true);
  PutLink(Files(), u"C:\\symlink", ReparseKind::SymbolicLink, u"C:\\a", true);
  PutLink(Files(), u"C:\\other", ReparseKind::Other, u"", true);
  for (const char16_t* const link : {u"C:\\junction\\x", u"C:\\symlink\\x", u"C:\\other\\x"})
    EXPECT_EQ(StatusOf(link), STATUS_REPARSE_POINT_ENCOUNTERED);
}

TEST_F(FileLinks, TakeSixtyThreeOfThemAndNoMore) {
  PutLink(Files(), u"C:\\link1", ReparseKind::SymbolicLink, u"a\\file.txt", false);
  for (int number = 2; number <= 63; ++number) {
    PutLink(Files(), u"C:\\link" + ToUtf16(std::to_string(number)), ReparseKind::SymbolicLink,
            u"link" + ToUtf16(std::to_string(number - 1)), false);
  }
  EXPECT_EQ(StatusOf(u"C:\\link63", Follow({})), STATUS_SUCCESS);
  PutLink(Files(), u"C:\\link64", ReparseKind::SymbolicLink, u"link63", false);
  EXPECT_EQ(StatusOf(u"C:\\link64", Follow({})), STATUS_REPARSE_POINT_NOT_RESOLVED);
}

TEST_F(FileLinks, WithAShortTargetAreRelativeToTheirFolderOrTheirVolume) {
  MakeFolder(Files(), u"C:\\a\\b");
  const char16_t* const targets[] = {u"..\\file.txt", u".\\..\\.\\file.txt", u"\\a\\file.txt",
                                     u"..\\..\\..\\a\\file.txt"};
  for (const char16_t* const target : targets) {
    PutLink(Files(), u"C:\\a\\b\\link", ReparseKind::SymbolicLink, target, false);
    const HANDLE file = OpenPath(u"C:\\a\\b\\link", Follow({}));
    if (std::u16string_view(target).starts_with(u"..\\..\\..")) {
      EXPECT_EQ(file, nullptr) << "above the volume";
    } else {
      EXPECT_EQ(ReadAll(file), "content") << ::testing::PrintToString(std::u16string(target));
    }
  }
}

TEST_F(FileOpening, WithAllRightsThereAreLeavesOutWritingToAReadOnlyFile) {
  const HANDLE writable = OpenPath(u"C:\\a\\file.txt", With(MAXIMUM_ALLOWED));
  EXPECT_TRUE(Write(writable, "x"));
  CloseHandle(writable);
  NodeAt(Files(), u"C:\\a\\file.txt").attributes = FILE_ATTRIBUTE_READONLY;
  const HANDLE readOnly = OpenPath(u"C:\\a\\file.txt", With(MAXIMUM_ALLOWED));
  EXPECT_TRUE(FailsWith(Write(readOnly, "y"), ERROR_ACCESS_DENIED));
  EXPECT_EQ(ReadAll(readOnly), "xontent");
}

TEST_F(FileOpening, OnAReadOnlyVolumeIsRefusedForEveryRightToChange) {
  Files().volumes[0].readOnly = true;
  for (const std::uint32_t right :
       {FILE_WRITE_DATA, FILE_APPEND_DATA, FILE_WRITE_EA, FILE_WRITE_ATTRIBUTES, FILE_DELETE_CHILD,
        DELETE, WRITE_DAC, WRITE_OWNER}) {
    How how = Folder();
    how.access = right;
    EXPECT_EQ(StatusOf(u"C:\\a", how), STATUS_MEDIA_WRITE_PROTECTED) << right;
  }
  EXPECT_EQ(StatusOf(u"C:\\a", Folder()), STATUS_SUCCESS);
}

TEST_F(FileLinks, OfADriveLetterAreFollowedToo) {
  Files().dosDevices[u"S:"] = u"\\??\\C:\\a";
  EXPECT_NE(Open(u"\\??\\S:\\file.txt", Follow({})), nullptr);
}

}  // namespace
}  // namespace vorn::platform::simulated

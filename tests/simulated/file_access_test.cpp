#include "platform/simulated/error_values.h"
#include "platform/simulated/file_open.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/native_values.h"
#include "tests/simulated/file_world.h"

namespace vorn::platform::simulated {
namespace {

/// A machine whose process belongs to an ordinary user.
class FileAccess : public FileWorld {
 protected:
  void BecomeUser() {
    Token& token = TheProcess().token;
    token.sids = {kOperator, kEveryone, kAuthenticatedUsers, kUsers};
    token.owner = kOperator;
  }

  void Secure(std::u16string_view path, std::u16string_view sddl) {
    const auto record = ParseSddl(sddl);
    ASSERT_TRUE(record.has_value());
    NodeAt(Files(), path).security = *record;
  }
};

using FileSharing = FileWorld;
using FileHandleRights = FileWorld;

TEST_F(FileAccess, IsRefusedWhereTheAccessListGrantsLess) {
  BecomeUser();
  EXPECT_EQ(StatusOf(u"C:\\a\\file.txt"), STATUS_SUCCESS);
  EXPECT_EQ(StatusOf(u"C:\\a\\file.txt", With(GENERIC_READ | WRITE_DAC)), STATUS_ACCESS_DENIED);
  Secure(u"C:\\a\\file.txt", u"O:BAD:P(A;;FA;;;SY)(A;;FA;;;BA)");
  EXPECT_EQ(StatusOf(u"C:\\a\\file.txt"), STATUS_ACCESS_DENIED);
}

TEST_F(FileAccess, FollowsTheOrderOfTheEntries) {
  BecomeUser();
  Secure(u"C:\\a\\file.txt", u"O:BAD:P(D;;FR;;;BU)(A;;FA;;;WD)");
  EXPECT_EQ(StatusOf(u"C:\\a\\file.txt"), STATUS_ACCESS_DENIED);
  Secure(u"C:\\a\\file.txt", u"O:BAD:P(A;;FA;;;WD)(D;;FR;;;BU)");
  EXPECT_EQ(StatusOf(u"C:\\a\\file.txt"), STATUS_SUCCESS);
}

TEST_F(FileAccess, IsRefusedByAnEmptyListAndGrantedByNone) {
  BecomeUser();
  Secure(u"C:\\a\\file.txt", u"O:BAD:P");
  EXPECT_EQ(StatusOf(u"C:\\a\\file.txt"), STATUS_ACCESS_DENIED);
  Secure(u"C:\\a\\file.txt", u"O:BA");
  EXPECT_EQ(StatusOf(u"C:\\a\\file.txt", With(GENERIC_ALL)), STATUS_SUCCESS);
}

TEST_F(FileAccess, LetsAnOwnerReadAndWriteTheAccessList) {
  BecomeUser();
  Secure(u"C:\\a\\file.txt", u"O:S-1-5-21-1000000000-2000000000-3000000000-1001D:P");
  EXPECT_EQ(StatusOf(u"C:\\a\\file.txt", With(READ_CONTROL | WRITE_DAC | SYNCHRONIZE)),
            STATUS_ACCESS_DENIED)
      << "synchronising is not the owner's by right";
  NodeAt(Files(), u"C:\\a\\file.txt").security.entries = {
      {ACCESS_ALLOWED_ACE_TYPE, 0, SYNCHRONIZE, kEveryone}};
  EXPECT_EQ(StatusOf(u"C:\\a\\file.txt", With(READ_CONTROL | WRITE_DAC)), STATUS_SUCCESS);
  EXPECT_EQ(StatusOf(u"C:\\a\\file.txt", With(WRITE_OWNER)), STATUS_ACCESS_DENIED);
}

TEST_F(FileAccess, ComesFromTheFolderForAttributesAndDeletion) {
  BecomeUser();
  Secure(u"C:\\a\\file.txt", u"O:BAD:P(A;;0x100000;;;WD)");
  Secure(u"C:\\a", u"O:BAD:P(A;;0x100000;;;WD)");
  EXPECT_EQ(StatusOf(u"C:\\a\\file.txt", With(FILE_READ_ATTRIBUTES)), STATUS_ACCESS_DENIED);
  EXPECT_EQ(StatusOf(u"C:\\a\\file.txt", With(DELETE)), STATUS_ACCESS_DENIED);
  Secure(u"C:\\a", u"O:BAD:P(A;;CCDT;;;WD)");  // FILE_LIST_DIRECTORY and FILE_DELETE_CHILD
  EXPECT_EQ(StatusOf(u"C:\\a\\file.txt", With(FILE_READ_ATTRIBUTES)), STATUS_SUCCESS);
  EXPECT_EQ(StatusOf(u"C:\\a\\file.txt", With(DELETE)), STATUS_SUCCESS);
}

TEST_F(FileAccess, NeedsNoRightOnTheFoldersAbove) {
  BecomeUser();
  Secure(u"C:\\a", u"O:BAD:P");
  EXPECT_EQ(StatusOf(u"C:\\a\\file.txt"), STATUS_SUCCESS);
}

TEST_F(FileAccess, ToCreateNeedsTheFoldersRight) {
  BecomeUser();
  Secure(u"C:\\a", u"O:BAD:P(A;;FR;;;BU)(A;;LC;;;BU)");  // may add folders, not files
  EXPECT_EQ(StatusOf(u"C:\\a\\new.txt", New(GENERIC_READ)), STATUS_ACCESS_DENIED);
  EXPECT_EQ(StatusOf(u"C:\\a\\new", NewFolder()), STATUS_SUCCESS);
}

TEST_F(FileAccess, OfTheCreatorIsWhatWasRequested) {
  BecomeUser();
  Secure(u"C:\\a", u"O:BAD:P(A;;FA;;;BU)(A;OI;FR;;;SY)");  // a child grants users nothing
  const HANDLE file = OpenPath(u"C:\\a\\new.txt", New());
  ASSERT_NE(file, nullptr);
  EXPECT_TRUE(Write(file, "mine"));
}

TEST_F(FileAccess, GrantsEveryRightWhenTheMaximumIsRequested) {
  BecomeUser();
  Secure(u"C:\\a\\file.txt", u"O:BAD:P(A;;FR;;;BU)");
  const HANDLE file = OpenPath(u"C:\\a\\file.txt", With(MAXIMUM_ALLOWED));
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(ReadAll(file), "content");
  EXPECT_FALSE(Write(file, "x"));
  EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
}

TEST_F(FileAccess, ByPrivilegeNeedsItEnabledAndRequested) {
  Secure(u"C:\\a\\file.txt", u"O:SYD:P(A;;FA;;;SY)");
  How intent;
  intent.options |= FILE_OPEN_FOR_BACKUP_INTENT;
  EXPECT_EQ(StatusOf(u"C:\\a\\file.txt", intent), STATUS_ACCESS_DENIED);
  TheProcess().token.backupEnabled = true;
  EXPECT_EQ(StatusOf(u"C:\\a\\file.txt"), STATUS_ACCESS_DENIED);
  EXPECT_EQ(StatusOf(u"C:\\a\\file.txt", intent), STATUS_SUCCESS);
  intent.access = GENERIC_READ | DELETE;
  EXPECT_EQ(StatusOf(u"C:\\a\\file.txt", intent), STATUS_SUCCESS)
      << "the folder grants administrators its children";
  Secure(u"C:\\a", u"O:SYD:P(A;;FA;;;SY)");
  EXPECT_EQ(StatusOf(u"C:\\a\\file.txt", intent), STATUS_ACCESS_DENIED);
  TheProcess().token.restoreEnabled = true;
  EXPECT_EQ(StatusOf(u"C:\\a\\file.txt", intent), STATUS_SUCCESS);
}

TEST_F(FileAccess, ToTheAuditListNeedsAPrivilege) {
  EXPECT_EQ(StatusOf(u"C:\\a\\file.txt", With(ACCESS_SYSTEM_SECURITY)), STATUS_PRIVILEGE_NOT_HELD);
}

TEST_F(FileAccess, ToWriteAReadOnlyFileIsRefused) {
  NodeAt(Files(), u"C:\\a\\file.txt").attributes = FILE_ATTRIBUTE_READONLY;
  EXPECT_EQ(StatusOf(u"C:\\a\\file.txt", With(GENERIC_WRITE)), STATUS_ACCESS_DENIED);
  EXPECT_EQ(StatusOf(u"C:\\a\\file.txt", With(GENERIC_READ | DELETE | FILE_WRITE_ATTRIBUTES)),
            STATUS_SUCCESS);
}

struct SharingCase {
  std::uint32_t held;
  std::uint32_t heldShare;
  std::uint32_t asked;
  std::uint32_t askedShare;
  NTSTATUS status;
};

TEST_F(FileSharing, IsEnforcedInBothDirectionsAgainstOtherProcesses) {
  const SharingCase cases[] = {
      {GENERIC_READ, FILE_SHARE_READ, GENERIC_READ, FILE_SHARE_READ, STATUS_SUCCESS},
      {GENERIC_READ, 0, GENERIC_READ, FILE_SHARE_READ, STATUS_SHARING_VIOLATION},
      {GENERIC_READ, kEverythingShared, GENERIC_READ, 0, STATUS_SHARING_VIOLATION},
      {GENERIC_WRITE, kEverythingShared, GENERIC_READ, FILE_SHARE_READ, STATUS_SHARING_VIOLATION},
      {GENERIC_WRITE, kEverythingShared, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
       STATUS_SUCCESS},
      {GENERIC_READ, FILE_SHARE_READ, GENERIC_WRITE, kEverythingShared, STATUS_SHARING_VIOLATION},
      {GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, DELETE, kEverythingShared,
       STATUS_SHARING_VIOLATION},
      {DELETE, kEverythingShared, GENERIC_READ, FILE_SHARE_READ, STATUS_SHARING_VIOLATION},
      {FILE_EXECUTE, 0, GENERIC_READ, kEverythingShared, STATUS_SHARING_VIOLATION},
      {FILE_APPEND_DATA, kEverythingShared, GENERIC_READ, FILE_SHARE_READ,
       STATUS_SHARING_VIOLATION},
      // Opens that neither read, write nor delete are exempt.
      {FILE_READ_ATTRIBUTES, 0, GENERIC_ALL, 0, STATUS_SUCCESS},
      {GENERIC_ALL, 0, FILE_READ_ATTRIBUTES | READ_CONTROL, 0, STATUS_SUCCESS},
  };
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    const SharingCase& row = cases[i];
    const std::uint64_t hold = HoldOpen(Files(), u"C:\\a\\file.txt", row.held, row.heldShare);
    EXPECT_EQ(StatusOf(u"C:\\a\\file.txt", With(row.asked, row.askedShare)), row.status)
        << "row " << i;
    ReleaseHold(Files(), hold);
  }
}

TEST_F(FileSharing, IsEnforcedBetweenHandlesOfOneProcess) {
  const HANDLE first = OpenPath(u"C:\\a\\file.txt");
  EXPECT_EQ(StatusOf(u"C:\\a\\file.txt", With(GENERIC_WRITE)), STATUS_SHARING_VIOLATION);
  EXPECT_EQ(StatusOf(u"C:\\a\\file.txt"), STATUS_SUCCESS);
  CloseHandle(first);
  EXPECT_EQ(StatusOf(u"C:\\a\\file.txt", With(GENERIC_WRITE)), STATUS_SUCCESS);
}

TEST_F(FileSharing, IsEnforcedOnFoldersAndAcrossHardLinks) {
  AddHardLink(Files(), u"C:\\a\\file.txt", u"C:\\second.txt");
  OpenPath(u"C:\\a\\file.txt");
  EXPECT_EQ(StatusOf(u"C:\\second.txt", With(GENERIC_WRITE)), STATUS_SHARING_VIOLATION);
  OpenPath(u"C:\\a", Folder());
  How remover = Folder();
  remover.access |= DELETE;
  EXPECT_EQ(StatusOf(u"C:\\a", remover), STATUS_SHARING_VIOLATION);
}

TEST_F(FileSharing, AppliesToTheSystemsOwnReadsToo) {
  std::uint32_t error = 0;
  const HANDLE file = OpenPath(u"C:\\a\\file.txt");
  EXPECT_TRUE(ReadAsSystem(Files(), u"C:\\a\\file.txt", &error).has_value());
  CloseHandle(file);
  HoldOpen(Files(), u"C:\\a\\file.txt", GENERIC_WRITE, kEverythingShared);
  EXPECT_FALSE(ReadAsSystem(Files(), u"C:\\a\\file.txt", &error).has_value());
  EXPECT_EQ(error, ERROR_SHARING_VIOLATION);
}

TEST_F(FileHandleRights, DecideEveryLaterCall) {
  const HANDLE bare = OpenPath(u"C:\\a\\file.txt", With(SYNCHRONIZE));
  ASSERT_NE(bare, nullptr);
  char buffer[8];
  std::uint32_t count = 7;
  BY_HANDLE_FILE_INFORMATION facts = {};
  FILE_BASIC_INFO basic = {};
  const SID* owner = nullptr;
  const ACL* dacl = nullptr;
  SECURITY_DESCRIPTOR* descriptor = nullptr;
  EXPECT_TRUE(FailsWith(ReadFile(bare, buffer, 8, &count), ERROR_ACCESS_DENIED));
  EXPECT_EQ(count, 0U);
  EXPECT_TRUE(FailsWith(WriteFile(bare, buffer, 8, &count), ERROR_ACCESS_DENIED));
  EXPECT_TRUE(FailsWith(SetEndOfFile(bare), ERROR_ACCESS_DENIED));
  EXPECT_TRUE(FailsWith(FlushFileBuffers(bare), ERROR_ACCESS_DENIED));
  EXPECT_TRUE(FailsWith(SetFilePointerEx(bare, 0, nullptr, FILE_BEGIN), ERROR_ACCESS_DENIED));
  EXPECT_TRUE(FailsWith(GetFileInformationByHandle(bare, &facts), ERROR_ACCESS_DENIED));
  EXPECT_TRUE(FailsWith(GetFileInformationByHandleEx(bare, FileBasicInfo, &basic, sizeof basic),
                        ERROR_ACCESS_DENIED));
  EXPECT_TRUE(FailsWith(SetFileInformationByHandle(bare, FileBasicInfo, &basic, sizeof basic),
                        ERROR_ACCESS_DENIED));
  EXPECT_TRUE(FailsWith(Dispose(bare), ERROR_ACCESS_DENIED));
  EXPECT_EQ(
      GetSecurityInfo(bare, SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, &owner, &dacl, &descriptor),
      ERROR_ACCESS_DENIED);
  EXPECT_EQ(descriptor, nullptr);
}

TEST_F(FileHandleRights, OfAReadHandleDoNotAllowWriting) {
  const HANDLE file = OpenPath(u"C:\\a\\file.txt");
  EXPECT_FALSE(Write(file, "x"));
  EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
  EXPECT_EQ(Content(u"C:\\a\\file.txt"), "content");
}

TEST_F(FileHandleRights, AreNoneForAHandleThatIsNotAFile) {
  TheProcess();
  HANDLE token = nullptr;
  ASSERT_TRUE(OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token));
  char buffer[8];
  std::uint32_t count = 0;
  EXPECT_TRUE(FailsWith(ReadFile(token, buffer, 8, &count), ERROR_INVALID_HANDLE));
  EXPECT_EQ(GetFileType(token), FILE_TYPE_UNKNOWN);
  EXPECT_TRUE(CloseHandle(token));
}

}  // namespace
}  // namespace vorn::platform::simulated

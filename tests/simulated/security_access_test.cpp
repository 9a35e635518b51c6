#include "platform/files.h"
#include "platform/last_error.h"
#include "platform/security.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/process.h"
#include "platform/simulated/security_values.h"

#include <gtest/gtest.h>

namespace vorn::platform::simulated {
namespace {

SecurityRecord Record(std::u16string_view text) {
  return ParseSddl(text).value();
}

Token User() {
  Token token;
  token.sids = {kOperator, kEveryone, kAuthenticatedUsers, kUsers};
  token.owner = kOperator;
  return token;
}

std::u16string Inherited(std::u16string_view parent, bool directory) {
  return ToSddl(InheritFrom(Record(parent), directory, kAdministrators));
}

TEST(AccessCheck, AddsUpTheEntriesOfAllIdentities) {
  const SecurityRecord record = Record(u"O:BAD:(A;;FR;;;BU)(A;;FW;;;WD)");
  EXPECT_TRUE(IsGranted(record, User(), FILE_GENERIC_READ | FILE_GENERIC_WRITE));
  EXPECT_FALSE(IsGranted(record, User(), DELETE));
  EXPECT_EQ(GrantedRights(record, User(), DELETE | FILE_READ_DATA), FILE_READ_DATA);
}

TEST(AccessCheck, SkipsInheritOnlyEntries) {
  EXPECT_FALSE(IsGranted(Record(u"O:BAD:(A;OICIIO;FA;;;BU)"), User(), FILE_READ_DATA));
}

TEST(AccessCheck, IgnoresEntriesForOthers) {
  EXPECT_FALSE(IsGranted(Record(u"O:BAD:(A;;FA;;;BA)"), User(), FILE_READ_DATA));
  EXPECT_TRUE(IsGranted(Record(u"O:BAD:(D;;FA;;;BA)(A;;FA;;;BU)"), User(), FILE_READ_DATA));
}

TEST(AccessCheck, LimitsAnOwnerByAnEntryForTheOwnersRights) {
  const std::u16string owner = kOperator;
  EXPECT_TRUE(IsGranted(Record(u"O:" + owner + u"D:"), User(), WRITE_DAC));
  EXPECT_FALSE(IsGranted(Record(u"O:" + owner + u"D:(A;;FR;;;OW)"), User(), WRITE_DAC));
  EXPECT_TRUE(IsGranted(Record(u"O:" + owner + u"D:(A;;FR;;;OW)"), User(), FILE_READ_DATA));
}

TEST(AccessCheck, NeverGrantsAuditListAccessByAList) {
  EXPECT_FALSE(IsGranted(Record(u"O:BA"), User(), ACCESS_SYSTEM_SECURITY));
}

TEST(AccessCheck, UsesPrivilegesOnlyWhenHeldAndEnabled) {
  const SecurityRecord record = Record(u"O:SYD:P");
  const PrivilegedRights rights = {FILE_READ_DATA, DELETE};
  Token token;
  EXPECT_FALSE(IsGranted(record, token, FILE_READ_DATA, rights));
  token.backupEnabled = true;
  token.restoreEnabled = true;
  EXPECT_TRUE(IsGranted(record, token, FILE_READ_DATA | DELETE, rights));
  EXPECT_FALSE(IsGranted(record, token, FILE_READ_DATA));
  token.holdsRestore = false;
  EXPECT_FALSE(IsGranted(record, token, DELETE, rights));
}

TEST(GenericRights, MapToFileRights) {
  EXPECT_EQ(MapFileRights(GENERIC_READ), FILE_GENERIC_READ);
  EXPECT_EQ(MapFileRights(GENERIC_WRITE | DELETE), FILE_GENERIC_WRITE | DELETE);
  EXPECT_EQ(MapFileRights(GENERIC_EXECUTE), FILE_GENERIC_EXECUTE);
  EXPECT_EQ(MapFileRights(GENERIC_ALL), FILE_ALL_ACCESS);
}

TEST(Inheritance, PassesEntriesToFilesAndFoldersByTheirFlags) {
  EXPECT_EQ(Inherited(u"D:(A;OICI;FA;;;SY)(A;OI;FR;;;BU)(A;CI;FX;;;AU)(A;;FA;;;WD)", false),
            u"O:BAD:AI(A;ID;FA;;;SY)(A;ID;FR;;;BU)");
  EXPECT_EQ(Inherited(u"D:(A;OICI;FA;;;SY)(A;OI;FR;;;BU)(A;CI;FX;;;AU)(A;;FA;;;WD)", true),
            u"O:BAD:AI(A;OICIID;FA;;;SY)(A;OIIOID;FR;;;BU)(A;CIID;FX;;;AU)");
}

TEST(Inheritance, StopsAtOneLevelForANoPropagateEntry) {
  EXPECT_EQ(Inherited(u"D:(A;OICINP;FA;;;SY)", true), u"O:BAD:AI(A;ID;FA;;;SY)");
  EXPECT_EQ(Inherited(u"D:(A;OINP;FA;;;SY)(A;CI;FA;;;BA)", true), u"O:BAD:AI(A;CIID;FA;;;BA)");
}

TEST(Inheritance, MakesAnInheritOnlyEntryEffective) {
  EXPECT_EQ(Inherited(u"D:(A;OICIIO;FA;;;SY)", true), u"O:BAD:AI(A;OICIID;FA;;;SY)");
}

TEST(Inheritance, ResolvesTheCreatorsEntryToTheOwnerAndPassesItOn) {
  EXPECT_EQ(Inherited(u"D:(A;OICIIO;GA;;;CO)", true),
            u"O:BAD:AI(A;ID;FA;;;BA)(A;OICIIOID;GA;;;CO)");
  EXPECT_EQ(Inherited(u"D:(A;OICIIO;GA;;;CO)", false), u"O:BAD:AI(A;ID;FA;;;BA)");
}

TEST(Inheritance, FallsBackToTheTokensDefault) {
  EXPECT_EQ(Inherited(u"D:P(A;;FA;;;WD)", false), u"O:BAD:(A;;FA;;;BA)(A;;FA;;;SY)");
}

class Privileges : public ::testing::Test {
 protected:
  HANDLE OpenToken(std::uint32_t access) {
    HANDLE token = nullptr;
    EXPECT_TRUE(OpenProcessToken(GetCurrentProcess(), access, &token));
    return token;
  }

  static TOKEN_PRIVILEGES Enabled(const char16_t* name) {
    TOKEN_PRIVILEGES privileges = {1, {{{0, 0}, SE_PRIVILEGE_ENABLED}}};
    EXPECT_TRUE(LookupPrivilegeValueW(name, &privileges.Privileges[0].Luid));
    return privileges;
  }

  Machine machine_;
  Process process_{machine_};
};

TEST_F(Privileges, AreEnabledAndDisabledInTheToken) {
  const HANDLE token = OpenToken(TOKEN_QUERY | TOKEN_ADJUST_PRIVILEGES);
  TOKEN_PRIVILEGES backup = Enabled(u"SeBackupPrivilege");
  SetLastError(77);
  EXPECT_TRUE(AdjustTokenPrivileges(token, false, &backup));
  EXPECT_EQ(GetLastError(), ERROR_SUCCESS);
  EXPECT_TRUE(process_.token.backupEnabled);
  EXPECT_FALSE(process_.token.restoreEnabled);
  backup.Privileges[0].Attributes = 0;
  EXPECT_TRUE(AdjustTokenPrivileges(token, false, &backup));
  EXPECT_FALSE(process_.token.backupEnabled);
}

TEST_F(Privileges, ThatAreNotHeldAreReportedByTheLastErrorOfASuccess) {
  process_.token.holdsRestore = false;
  const HANDLE token = OpenToken(TOKEN_ADJUST_PRIVILEGES);
  const TOKEN_PRIVILEGES restore = Enabled(u"serestoreprivilege");
  EXPECT_TRUE(AdjustTokenPrivileges(token, false, &restore));
  EXPECT_EQ(GetLastError(), ERROR_NOT_ALL_ASSIGNED);
  EXPECT_FALSE(process_.token.restoreEnabled);
}

TEST_F(Privileges, AreDisabledAllAtOnceOrRemovedForGood) {
  const HANDLE token = OpenToken(TOKEN_ADJUST_PRIVILEGES);
  process_.token.backupEnabled = true;
  process_.token.restoreEnabled = true;
  EXPECT_TRUE(AdjustTokenPrivileges(token, true, nullptr));
  EXPECT_FALSE(process_.token.backupEnabled);
  EXPECT_FALSE(process_.token.restoreEnabled);
  TOKEN_PRIVILEGES backup = Enabled(u"SeBackupPrivilege");
  backup.Privileges[0].Attributes = SE_PRIVILEGE_REMOVED;
  EXPECT_TRUE(AdjustTokenPrivileges(token, false, &backup));
  EXPECT_FALSE(process_.token.holdsBackup);
}

TEST_F(Privileges, NeedATokenOpenedToAdjustThem) {
  const HANDLE token = OpenToken(TOKEN_QUERY);
  const TOKEN_PRIVILEGES backup = Enabled(u"SeBackupPrivilege");
  EXPECT_FALSE(AdjustTokenPrivileges(token, false, &backup));
  EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
  EXPECT_FALSE(AdjustTokenPrivileges(nullptr, false, &backup));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

TEST_F(Privileges, OfUnknownNamesAreNotFound) {
  LUID luid = {5, 5};
  EXPECT_FALSE(LookupPrivilegeValueW(u"SeNoSuchPrivilege", &luid));
  EXPECT_EQ(GetLastError(), ERROR_NO_SUCH_PRIVILEGE);
  EXPECT_EQ(luid.LowPart, 5U);
}

TEST_F(Privileges, BelongToATokenThatIsClosedLikeAHandle) {
  const HANDLE token = OpenToken(TOKEN_QUERY);
  EXPECT_EQ(process_.OpenObjects()[ObjectKind::Handle], 1U);
  EXPECT_TRUE(CloseHandle(token));
  EXPECT_TRUE(CloseHandle(GetCurrentProcess())) << "the pseudo handle needs no close";
  EXPECT_TRUE(process_.OpenObjects().empty());
  HANDLE none = nullptr;
  EXPECT_FALSE(OpenProcessToken(nullptr, TOKEN_QUERY, &none));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

}  // namespace
}  // namespace vorn::platform::simulated

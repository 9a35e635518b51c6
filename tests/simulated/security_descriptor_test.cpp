#include "platform/simulated/descriptor_image.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/file_open.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/native_values.h"
#include "platform/simulated/security_values.h"
#include "tests/simulated/file_world.h"

namespace vorn::platform::simulated {
namespace {

constexpr char16_t kSnapshotSddl[] = u"O:BAD:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)";

/// The security of an open object as a program sees it.
class Descriptors : public FileWorld {
 protected:
  ~Descriptors() override {
    if (descriptor_ != nullptr) LocalFree(descriptor_);
  }

  std::uint32_t Ask(std::u16string_view path) {
    return GetSecurityInfo(OpenPath(path, With(READ_CONTROL)), SE_FILE_OBJECT,
                           OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION, &owner_, &dacl_,
                           &descriptor_);
  }

  void Secure(std::u16string_view path, const SecurityRecord& record) {
    NodeAt(Files(), path).security = record;
  }

  std::uint16_t Control() const {
    std::uint16_t control = 0;
    std::uint32_t revision = 0;
    EXPECT_TRUE(GetSecurityDescriptorControl(descriptor_, &control, &revision));
    EXPECT_EQ(revision, 1U);
    return control;
  }

  const SID* owner_ = nullptr;
  const ACL* dacl_ = nullptr;
  SECURITY_DESCRIPTOR* descriptor_ = nullptr;
};

using DescriptorsOfNewObjects = Descriptors;
using DescriptorText = FileWorld;
using MalformedDescriptors = Descriptors;

SecurityRecord FromSddl(std::u16string_view text) {
  const auto record = ParseSddl(text);
  EXPECT_TRUE(record.has_value()) << ::testing::PrintToString(std::u16string(text));
  return record.value_or(SecurityRecord());
}

TEST(SecurityDescriptorText, IsRefusedWhereAColonStandsAlone) {
  for (const char16_t* text : {u"O::", u"G::D:", u"D::", u"S::", u"O:SYD::", u":", u"::"})
    EXPECT_EQ(ParseSddl(text), std::nullopt) << testing::PrintToString(std::u16string(text));
}

TEST_F(Descriptors, ShowOwnerFlagsAndEntriesInTheirLayout) {
  Secure(u"C:\\a\\file.txt", FromSddl(kSnapshotSddl));
  ASSERT_EQ(Ask(u"C:\\a\\file.txt"), ERROR_SUCCESS);
  EXPECT_TRUE(IsValidSid(owner_));
  EXPECT_TRUE(IsWellKnownSid(owner_, WinBuiltinAdministratorsSid));
  EXPECT_FALSE(IsWellKnownSid(owner_, WinLocalSystemSid));
  EXPECT_EQ(Control(), SE_SELF_RELATIVE | SE_DACL_PROTECTED | SE_DACL_PRESENT);
  ASSERT_NE(dacl_, nullptr);
  EXPECT_TRUE(IsValidAcl(dacl_));
  EXPECT_EQ(dacl_->AclRevision, 2);
  EXPECT_EQ(dacl_->AceCount, 2);
  EXPECT_EQ(dacl_->AclSize, 8 + 20 + 24);
  const void* ace = nullptr;
  ASSERT_TRUE(GetAce(dacl_, 1, &ace));
  ACCESS_ALLOWED_ACE entry;
  std::memcpy(&entry, ace, sizeof entry);
  EXPECT_EQ(entry.Header.AceType, ACCESS_ALLOWED_ACE_TYPE);
  EXPECT_EQ(entry.Header.AceFlags, OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE);
  EXPECT_EQ(entry.Header.AceSize, 24);
  EXPECT_EQ(entry.Mask, FILE_ALL_ACCESS);
  const auto* sid = reinterpret_cast<const SID*>(static_cast<const std::uint8_t*>(ace) + 8);
  EXPECT_TRUE(IsWellKnownSid(sid, WinBuiltinAdministratorsSid));
  EXPECT_TRUE(FailsWith(GetAce(dacl_, 2, &ace), ERROR_INVALID_PARAMETER));
}

TEST_F(Descriptors, AreMemoryOfTheProcessUntilFreed) {
  ASSERT_EQ(Ask(u"C:\\a\\file.txt"), ERROR_SUCCESS);
  EXPECT_EQ(TheProcess().OpenObjects()[ObjectKind::Memory], 1U);
  LocalFree(descriptor_);
  descriptor_ = nullptr;
  EXPECT_EQ(TheProcess().OpenObjects().count(ObjectKind::Memory), 0U);
  LocalFree(nullptr);
}

TEST_F(Descriptors, StayReadableInAKilledProcess) {
  Secure(u"C:\\a\\file.txt", FromSddl(kSnapshotSddl));
  ASSERT_EQ(Ask(u"C:\\a\\file.txt"), ERROR_SUCCESS);
  TheProcess().Kill();
  EXPECT_EQ(dacl_->AceCount, 2);
}

TEST_F(Descriptors, ReturnOnlyWhatIsRequested) {
  const HANDLE file = OpenPath(u"C:\\a\\file.txt", With(READ_CONTROL));
  ASSERT_EQ(GetSecurityInfo(file, SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, &owner_, &dacl_,
                            &descriptor_),
            ERROR_SUCCESS);
  EXPECT_NE(owner_, nullptr);
  EXPECT_EQ(dacl_, nullptr);
}

TEST_F(Descriptors, AreRefusedForHandlesThatAreNotFiles) {
  TheProcess();
  EXPECT_EQ(GetSecurityInfo(nullptr, SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, &owner_, &dacl_,
                            &descriptor_),
            ERROR_INVALID_HANDLE);
}

TEST_F(DescriptorsOfNewObjects, AreTheSuppliedOnes) {
  TheProcess();
  SECURITY_DESCRIPTOR* given = nullptr;
  std::uint32_t size = 0;
  ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(kSnapshotSddl, SDDL_REVISION_1,
                                                                   &given, &size));
  EXPECT_EQ(size, 20U + 16 + 52);
  How how = NewFolder();
  how.security = given;
  const HANDLE folder = OpenPath(u"C:\\guarded", how);
  LocalFree(given);
  ASSERT_NE(folder, nullptr);
  EXPECT_EQ(ToSddl(NodeAt(Files(), u"C:\\guarded").security), kSnapshotSddl);
  ASSERT_NE(Open(u"child", New(), folder), nullptr);
  EXPECT_EQ(ToSddl(NodeAt(Files(), u"C:\\guarded\\child").security),
            u"O:BAD:AI(A;ID;FA;;;SY)(A;ID;FA;;;BA)");
}

TEST_F(DescriptorsOfNewObjects, KeepTheGenericRightsOfEntriesForChildrenAlone) {
  SECURITY_DESCRIPTOR* given = nullptr;
  TheProcess();
  ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(
      u"O:BAD:P(A;OICIIO;GA;;;SY)(A;;GA;;;BA)", SDDL_REVISION_1, &given, nullptr));
  How how = NewFolder();
  how.security = given;
  OpenPath(u"C:\\guarded", how);
  LocalFree(given);
  EXPECT_EQ(ToSddl(NodeAt(Files(), u"C:\\guarded").security),
            u"O:BAD:P(A;OICIIO;GA;;;SY)(A;;FA;;;BA)");
}

TEST_F(DescriptorsOfNewObjects, ComeWithATimeAtWhichTheirFolderWasWritten) {
  TheMachine().clock.tick = 5000;
  OpenPath(u"C:\\a\\new.txt", New());
  const std::int64_t now = FileTimeNow(TheMachine());
  EXPECT_EQ(NodeAt(Files(), u"C:\\a\\new.txt").times.creation, now);
  EXPECT_EQ(NodeAt(Files(), u"C:\\a").times.lastWrite, now);
}

TEST_F(DescriptorsOfNewObjects, AreInheritedByDefault) {
  OpenPath(u"C:\\a\\new.txt", New());
  const SecurityRecord& record = NodeAt(Files(), u"C:\\a\\new.txt").security;
  EXPECT_EQ(record.owner, kAdministrators);
  EXPECT_FALSE(record.daclProtected);
  EXPECT_EQ(record, InheritFrom(NodeAt(Files(), u"C:\\a").security, false, kAdministrators));
}

TEST_F(DescriptorsOfNewObjects, AreRefusedForAnOwnerThatTheTokenMayNotSet) {
  Token& token = TheProcess().token;
  SECURITY_DESCRIPTOR* given = nullptr;
  ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(
      u"O:SYD:P(A;;FA;;;BA)", SDDL_REVISION_1, &given, nullptr));
  How how = New();
  how.security = given;
  EXPECT_EQ(StatusOf(u"C:\\a\\new.txt", how), STATUS_INVALID_OWNER);
  token.restoreEnabled = true;
  EXPECT_EQ(StatusOf(u"C:\\a\\new.txt", how), STATUS_SUCCESS);
  EXPECT_EQ(NodeAt(Files(), u"C:\\a\\new.txt").security.owner, kLocalSystem);
  LocalFree(given);
}

TEST_F(DescriptorsOfNewObjects, AreRefusedForAdministratorsAsOwnerOfAnOrdinaryUser) {
  Token& token = TheProcess().token;
  token.sids = {kOperator, kEveryone, kAuthenticatedUsers, kUsers};
  token.owner = kOperator;
  SECURITY_DESCRIPTOR* given = nullptr;
  ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(kSnapshotSddl, SDDL_REVISION_1,
                                                                   &given, nullptr));
  How how = New();
  how.security = given;
  EXPECT_EQ(StatusOf(u"C:\\a\\new.txt", how), STATUS_INVALID_OWNER);
  LocalFree(given);
}

TEST_F(DescriptorsOfNewObjects, AreRefusedWhenMalformed) {
  const std::vector<std::uint8_t> zeros(64, 0);
  How how = New();
  how.security = zeros.data();
  EXPECT_EQ(StatusOf(u"C:\\a\\new.txt", how), STATUS_INVALID_SECURITY_DESCR);
}

struct SddlCase {
  const char16_t* text;
  const char16_t* written;  // null when it is written back unchanged
};

TEST_F(DescriptorText, IsReadAndWritten) {
  const SddlCase cases[] = {
      {kSnapshotSddl, nullptr},
      {u"O:BAD:P(A;;FA;;;SY)(A;;FA;;;BA)", nullptr},
      {u"O:SYG:BUD:PAI(D;;FR;;;WD)(A;ID;FX;;;AU)", nullptr},
      {u"O:SYG:SYD:(A;OICINPIO;GA;;;CO)", nullptr},
      {u"O:S-1-5-21-1-2-3-1001D:(A;;0x1200a9;;;AN)", nullptr},
      {u"D:P", nullptr},
      {u"D:", nullptr},
      {u"O:BA", nullptr},
      {u"", nullptr},
      {u"D:(OA;;0x1;;;LS)", nullptr},
      {u"D:(A;;FRFW;;;BA)", u"D:(A;;0x12019f;;;BA)"},
      {u"D:(A;;GRGX;;;BA)", u"D:(A;;0xa0000000;;;BA)"},
      {u"D:(A;;RCSDWDWO;;;BA)", u"D:(A;;0xf0000;;;BA)"},
      {u"D:ARAI(A;;FA;;;BA)", u"D:AI(A;;FA;;;BA)"},
      {u"o:bad:p(a;oici;fa;;;sy)", u"O:BAD:P(A;OICI;FA;;;SY)"},
      {u"D:NO_ACCESS_CONTROL", u""},
      {u"O:BAS:(AU;SAFA;FA;;;WD)(ML;;NW;;;LW)", u"O:BA"},
      {u"O:s-1-0x5-18", u"O:SY"},
  };
  for (const SddlCase& row : cases) {
    EXPECT_EQ(ToSddl(FromSddl(row.text)), row.written == nullptr ? row.text : row.written)
        << ::testing::PrintToString(std::u16string(row.text));
  }
}

struct BadSddl {
  const char16_t* text;
  std::uint32_t error;
};

TEST_F(DescriptorText, IsRefusedWhenMalformed) {
  TheProcess();
  const BadSddl cases[] = {
      {u"X:BA", ERROR_INVALID_PARAMETER},
      {u"BA", ERROR_INVALID_PARAMETER},
      {u"O:BAO:BA", ERROR_INVALID_PARAMETER},
      {u"D:Q(A;;FA;;;BA)", ERROR_INVALID_PARAMETER},
      {u"O:", ERROR_INVALID_SID},
      {u"O:QQ", ERROR_INVALID_SID},
      {u"O:S-2-5-18", ERROR_INVALID_SID},
      {u"O:S-1-5", ERROR_INVALID_SID},
      {u"O:S-1-5-4294967296", ERROR_INVALID_SID},
      {u"D:(A;;FA;;;QQ)", ERROR_INVALID_SID},
      {u"D:(Z;;FA;;;BA)", ERROR_INVALID_ACL},
      {u"D:(A;XX;FA;;;BA)", ERROR_INVALID_ACL},
      {u"D:(A;;FAX;;;BA)", ERROR_INVALID_ACL},
      {u"D:(A;;0xg;;;BA)", ERROR_INVALID_ACL},
      {u"D:(A;;FA;;BA)", ERROR_INVALID_ACL},
      {u"D:(A;;FA;;;BA", ERROR_INVALID_ACL},
  };
  for (const BadSddl& row : cases) {
    SECURITY_DESCRIPTOR* descriptor = nullptr;
    EXPECT_TRUE(FailsWith(ConvertStringSecurityDescriptorToSecurityDescriptorW(
                              row.text, SDDL_REVISION_1, &descriptor, nullptr),
                          row.error))
        << ::testing::PrintToString(std::u16string(row.text));
    EXPECT_EQ(descriptor, nullptr);
  }
}

TEST_F(DescriptorText, HasOneRevision) {
  TheProcess();
  SECURITY_DESCRIPTOR* descriptor = nullptr;
  EXPECT_TRUE(FailsWith(
      ConvertStringSecurityDescriptorToSecurityDescriptorW(kSnapshotSddl, 2, &descriptor, nullptr),
      ERROR_UNKNOWN_REVISION));
}

TEST_F(MalformedDescriptors, MayLackAnOwnerAndAList) {
  SecurityRecord record;
  record.owner.clear();
  record.daclPresent = false;
  Secure(u"C:\\a\\file.txt", record);
  ASSERT_EQ(Ask(u"C:\\a\\file.txt"), ERROR_SUCCESS);
  EXPECT_EQ(owner_, nullptr);
  EXPECT_EQ(dacl_, nullptr);
  EXPECT_EQ(Control(), SE_SELF_RELATIVE);
  EXPECT_FALSE(IsValidSid(owner_));
  EXPECT_FALSE(IsValidAcl(dacl_));
}

TEST_F(MalformedDescriptors, MayHoldEntriesOfAnyType) {
  SecurityRecord record = FromSddl(kSnapshotSddl);
  record.entries.push_back({ACCESS_ALLOWED_OBJECT_ACE_TYPE, 0, FILE_ALL_ACCESS, kEveryone});
  record.entries.push_back({9, 0, FILE_ALL_ACCESS, kEveryone});
  record.entries.push_back({SYSTEM_AUDIT_ACE_TYPE, 0, FILE_ALL_ACCESS, kEveryone});
  Secure(u"C:\\a\\file.txt", record);
  ASSERT_EQ(Ask(u"C:\\a\\file.txt"), ERROR_SUCCESS);
  EXPECT_TRUE(IsValidAcl(dacl_));
  EXPECT_EQ(dacl_->AclRevision, 4) << "object entries need the later revision";
  const std::uint8_t types[] = {0, 0, 5, 9, 2};
  for (std::uint32_t i = 0; i < std::size(types); ++i) {
    const void* ace = nullptr;
    ASSERT_TRUE(GetAce(dacl_, i, &ace));
    EXPECT_EQ(static_cast<const ACE_HEADER*>(ace)->AceType, types[i]);
  }
}

TEST_F(MalformedDescriptors, MayNameAnInvalidSid) {
  SecurityRecord record = FromSddl(kSnapshotSddl);
  record.owner = u"nobody";
  record.entries[0].sid = u"nobody";
  Secure(u"C:\\a\\file.txt", record);
  ASSERT_EQ(Ask(u"C:\\a\\file.txt"), ERROR_SUCCESS);
  EXPECT_FALSE(IsValidSid(owner_));
  EXPECT_FALSE(IsWellKnownSid(owner_, WinLocalSystemSid));
  EXPECT_TRUE(FailsWith(IsValidAcl(dacl_), ERROR_INVALID_ACL));
}

TEST_F(MalformedDescriptors, AreShownByteForByte) {
  SecurityRecord record = FromSddl(kSnapshotSddl);
  std::vector<std::uint8_t> image = DescriptorBytes(record);
  DescriptorHeader header;
  std::memcpy(&header, image.data(), sizeof header);
  const std::size_t countAt = header.dacl + offsetof(ACL, AceCount);
  image[countAt] = 9;  // more entries than the list holds
  record.image = image;
  Secure(u"C:\\a\\file.txt", record);
  ASSERT_EQ(Ask(u"C:\\a\\file.txt"), ERROR_SUCCESS);
  EXPECT_FALSE(IsValidAcl(dacl_));
  const void* ace = nullptr;
  EXPECT_TRUE(GetAce(dacl_, 1, &ace));
  EXPECT_TRUE(FailsWith(GetAce(dacl_, 2, &ace), ERROR_INVALID_PARAMETER));
}

struct AclCase {
  const char* what;
  std::size_t offset;  // within the list
  std::uint8_t value;
};

TEST_F(MalformedDescriptors, AreNotValidLists) {
  const AclCase cases[] = {
      {"an older revision", 0, 1},          {"a later revision", 0, 5},
      {"a size below its header", 2, 7},    {"a size below its entries", 2, 51},
      {"an entry without a size", 10, 0},   {"an entry of an odd size", 10, 18},
      {"an entry too long", 10, 60},        {"an entry too short for its SID", 10, 16},
      {"a SID of another revision", 16, 2}, {"a SID with too many parts", 17, 16},
  };
  const std::vector<std::uint8_t> image = DescriptorBytes(FromSddl(kSnapshotSddl));
  DescriptorHeader header;
  std::memcpy(&header, image.data(), sizeof header);
  TheProcess();
  for (const AclCase& row : cases) {
    std::vector<std::uint8_t> changed = image;
    ASSERT_TRUE(IsValidAcl(reinterpret_cast<const ACL*>(changed.data() + header.dacl)));
    changed[header.dacl + row.offset] = row.value;
    EXPECT_FALSE(IsValidAcl(reinterpret_cast<const ACL*>(changed.data() + header.dacl)))
        << row.what;
  }
}

}  // namespace
}  // namespace vorn::platform::simulated

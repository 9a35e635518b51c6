#include "privileged_input/access_control.h"

#include "platform/simulated/descriptor_image.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/file_values.h"
#include "privileged_input/directory.h"
#include "privileged_input/file.h"
#include "tests/privileged_input/input_test.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace vorn::privileged_input {
namespace {

constexpr std::uint8_t kAllow = platform::ACCESS_ALLOWED_ACE_TYPE;
constexpr std::uint8_t kDeny = platform::ACCESS_DENIED_ACE_TYPE;
constexpr std::uint8_t kAudit = platform::SYSTEM_AUDIT_ACE_TYPE;

Protection Guarded(std::vector<AccessRule> rules) {
  return {true, true, true, std::move(rules)};
}

TEST(Protection, NeedsATrustedOwnerAndAValidProtectedList) {
  EXPECT_TRUE(IsProtected(Guarded({})));
  EXPECT_FALSE(IsProtected({false, true, true, {}}));
  EXPECT_FALSE(IsProtected({true, false, true, {}}));
  EXPECT_FALSE(IsProtected({true, true, false, {}}));
}

TEST(Protection, AllowsTheTrustedEverything) {
  EXPECT_TRUE(IsProtected(Guarded({{kAllow, 0xFFFFFFFF, true}, {kAllow, 0x1F01FF, true}})));
}

TEST(Protection, AllowsNobodyElseAnyChange) {
  for (std::uint32_t bit = 0; bit < 32; ++bit) {
    const std::uint32_t right = 1U << bit;
    const bool changes = (0x520D0156U & right) != 0;
    EXPECT_EQ(IsProtected(Guarded({{kAllow, right, false}})), !changes) << "bit " << bit;
  }
}

TEST(Protection, AllowsAnybodyToRead) {
  EXPECT_TRUE(IsProtected(Guarded({{kAllow, platform::FILE_GENERIC_READ, false},
                                   {kAllow, platform::FILE_GENERIC_EXECUTE, false},
                                   {kAllow, platform::GENERIC_READ, false}})));
}

TEST(Protection, IgnoresDenialsAndAudits) {
  EXPECT_TRUE(IsProtected(Guarded({{kDeny, 0xFFFFFFFF, false}, {kAudit, 0xFFFFFFFF, false}})));
}

TEST(Protection, RefusesEntriesOfUnknownKinds) {
  for (std::uint32_t type = 3; type < 256; ++type) {
    EXPECT_FALSE(IsProtected(Guarded({{static_cast<std::uint8_t>(type), 0, true}})))
        << "type " << type;
  }
}

TEST(Protection, JudgesEveryEntry) {
  EXPECT_FALSE(IsProtected(
      Guarded({{kAllow, 0x1F01FF, true}, {kDeny, 0, false}, {kAllow, platform::DELETE, false}})));
}

class ProtectedOwnerAndDacl : public tests::InputTest {
 protected:
  bool IsProtectedAs(std::u16string_view sddl) {
    sim::RemovePath(Files(), u"C:\\f");
    sim::PutFile(Files(), u"C:\\f", "x");
    SetSecurity(u"C:\\f", sddl);
    return CheckFile();
  }
  bool CheckFile() {
    const File file = File::OpenAbsolute(u"C:\\f", LoadNativeApi(), 100, FileMode::ReadOnly);
    EXPECT_TRUE(file) << platform::GetLastError();
    platform::SetLastError(0);
    const bool result = HasProtectedOwnerAndDacl(file.Handle());
    EXPECT_EQ(platform::GetLastError(), result ? 0 : platform::ERROR_ACCESS_DENIED);
    return result;
  }
};

TEST_F(ProtectedOwnerAndDacl, AcceptsTheJournalAndPackageDescriptors) {
  EXPECT_TRUE(IsProtectedAs(u"O:BAD:P(A;;FA;;;SY)(A;;FA;;;BA)"));
  EXPECT_TRUE(IsProtectedAs(u"O:BAD:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)"));
  EXPECT_TRUE(IsProtectedAs(u"O:SYD:P(A;;FA;;;SY)(A;;FA;;;BA)"));
}

TEST_F(ProtectedOwnerAndDacl, AcceptsReadersAndDenials) {
  EXPECT_TRUE(
      IsProtectedAs(u"O:BAD:P(D;;FA;;;S-1-5-21-1000000000-2000000000-3000000000-1002)"
                    u"(A;;FA;;;SY)(A;;FA;;;BA)(A;;FR;;;WD)"));
}

TEST_F(ProtectedOwnerAndDacl, RefusesAnyOtherOwner) {
  EXPECT_FALSE(IsProtectedAs(u"O:BUD:P(A;;FA;;;SY)(A;;FA;;;BA)"));
  EXPECT_FALSE(IsProtectedAs(
      u"O:S-1-5-21-1000000000-2000000000-3000000000-1002D:P(A;;FA;;;SY)(A;;FA;;;BA)"));
}

TEST_F(ProtectedOwnerAndDacl, TrustsLocalSystemAndAdministratorsAndNobodyElse) {
  for (const std::u16string_view sid :
       {u"S-1-1-0", u"S-1-3-0", u"S-1-5-6", u"S-1-5-11", u"S-1-5-19", u"S-1-5-20", u"S-1-5-32",
        u"S-1-5-32-545", u"S-1-5-32-546", u"S-1-5-32-547", u"S-1-5-32-549", u"S-1-5-32-551",
        u"S-1-5-21-1000000000-2000000000-3000000000-500",
        u"S-1-5-21-1000000000-2000000000-3000000000-512",
        u"S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464"}) {
    const std::u16string owner(sid);
    EXPECT_FALSE(IsProtectedAs(u"O:" + owner + u"D:P(A;;FA;;;SY)(A;;FA;;;BA)"))
        << testing::PrintToString(owner);
    EXPECT_FALSE(IsProtectedAs(u"O:BAD:P(A;;FA;;;SY)(A;;FA;;;BA)(A;;FW;;;" + owner + u")"))
        << testing::PrintToString(owner);
  }
}

TEST_F(ProtectedOwnerAndDacl, AsksOnceForEachOfTheTrusted) {
  EXPECT_FALSE(IsProtectedAs(u"O:BUD:P(A;;FA;;;SY)(A;;FA;;;BA)"));
  EXPECT_EQ(CallsOf("IsWellKnownSid").size(), 5U)
      << "two for the owner, one for LocalSystem and two for Administrators";
}

TEST_F(ProtectedOwnerAndDacl, DoesNotBelieveAFailedCall) {
  for (const char* call : {"GetSecurityInfo", "GetSecurityDescriptorControl", "GetAce"}) {
    AddFault(call, sim::FaultKind::FailAfterEffect);
    EXPECT_FALSE(IsProtectedAs(u"O:BAD:P(A;;FA;;;SY)(A;;FA;;;BA)")) << call;
  }
}

TEST_F(ProtectedOwnerAndDacl, AcceptsAListWithoutEntries) {
  sim::PutFile(Files(), u"C:\\f", "x");
  // Nobody could open the file any more once it has this list.
  ChangeBefore("GetSecurityInfo", 1, [](sim::Machine& changed) {
    sim::NodeAt(changed.files, u"C:\\f").security = *sim::ParseSddl(u"O:BAD:P");
  });
  EXPECT_TRUE(CheckFile());
}

TEST_F(ProtectedOwnerAndDacl, JudgesAnEntryWhateverItsInheritance) {
  for (const std::u16string flags : {u"", u"OI", u"CI", u"NP", u"IO", u"ID", u"OICIIO"}) {
    EXPECT_TRUE(
        IsProtectedAs(u"O:BAD:P(A;;FA;;;BA)(A;" + flags + u";FA;;;SY)(A;" + flags + u";FR;;;BU)"))
        << testing::PrintToString(flags);
    EXPECT_FALSE(IsProtectedAs(u"O:BAD:P(A;;FA;;;BA)(A;" + flags + u";FW;;;BU)"))
        << testing::PrintToString(flags);
  }
}

TEST_F(ProtectedOwnerAndDacl, RefusesEntriesOfUnknownKindsThatNameTheTrusted) {
  for (std::uint8_t type = 3; type < 32; ++type) {
    sim::PutFile(Files(), u"C:\\f", "x");
    sim::SecurityRecord& security = sim::NodeAt(Files(), u"C:\\f").security;
    security = *sim::ParseSddl(tests::kProtectedSddl);
    security.entries.push_back({type, 0, platform::FILE_READ_DATA, sim::kLocalSystem});
    EXPECT_FALSE(CheckFile()) << int{type};
  }
}

TEST_F(ProtectedOwnerAndDacl, RefusesAListThatIsNotProtected) {
  EXPECT_FALSE(IsProtectedAs(u"O:BAD:(A;;FA;;;SY)(A;;FA;;;BA)"));
}

TEST_F(ProtectedOwnerAndDacl, RefusesAMissingList) {
  sim::PutFile(Files(), u"C:\\f", "x");
  sim::SecurityRecord& security = sim::NodeAt(Files(), u"C:\\f").security;
  security = *sim::ParseSddl(u"O:BAD:P(A;;FA;;;BA)");
  security.daclPresent = false;
  EXPECT_FALSE(CheckFile());
}

TEST_F(ProtectedOwnerAndDacl, RefusesWritersOtherThanTheTrusted) {
  EXPECT_FALSE(IsProtectedAs(u"O:BAD:P(A;;FA;;;SY)(A;;FA;;;BA)(A;;FA;;;WD)"));
  EXPECT_FALSE(IsProtectedAs(u"O:BAD:P(A;;FA;;;SY)(A;;FA;;;BA)(A;;FW;;;BU)"));
  EXPECT_FALSE(IsProtectedAs(u"O:BAD:P(A;;FA;;;SY)(A;;FA;;;BA)(A;;0x10000;;;BU)"));
}

TEST_F(ProtectedOwnerAndDacl, RefusesEachRightToChangeInAnEntryAsStored) {
  for (std::uint32_t bit = 0; bit < 32; ++bit) {
    const std::uint32_t right = 1U << bit;
    if ((0x520D0156U & right) == 0) continue;
    sim::PutFile(Files(), u"C:\\f", "x");
    sim::SecurityRecord& security = sim::NodeAt(Files(), u"C:\\f").security;
    security = *sim::ParseSddl(tests::kProtectedSddl);
    security.entries.push_back({kAllow, 0, right, sim::kUsers});
    EXPECT_FALSE(CheckFile()) << "bit " << bit;
  }
}

TEST_F(ProtectedOwnerAndDacl, FindsAWriterBehindManyReaders) {
  std::u16string sddl = u"O:BAD:P(A;;FA;;;BA)";
  for (int i = 0; i < 100; ++i)
    sddl += u"(A;;FR;;;BU)";
  EXPECT_TRUE(IsProtectedAs(sddl));
  EXPECT_FALSE(IsProtectedAs(sddl + u"(A;;FW;;;BU)"));
}

TEST_F(ProtectedOwnerAndDacl, RefusesAListWithEveryFlagButTheProtectedOne) {
  sim::PutFile(Files(), u"C:\\f", "x");
  sim::SecurityRecord& security = sim::NodeAt(Files(), u"C:\\f").security;
  security = *sim::ParseSddl(tests::kProtectedSddl);
  std::vector<std::uint8_t> image = sim::DescriptorBytes(security);
  constexpr std::uint16_t kEveryOther = 0xFFFF & ~platform::SE_DACL_PROTECTED;
  std::memcpy(image.data() + offsetof(sim::DescriptorHeader, control), &kEveryOther,
              sizeof kEveryOther);
  security.image = image;
  EXPECT_FALSE(CheckFile());
}

TEST_F(ProtectedOwnerAndDacl, JudgesTheOwnerThenTheListThenItsFlagThenItsEntries) {
  sim::PutFile(Files(), u"C:\\f", "x");
  SetSecurity(u"C:\\f", u"O:BAD:P(A;;FA;;;BA)");
  const File file = File::OpenAbsolute(u"C:\\f", LoadNativeApi(), 100, FileMode::ReadOnly);
  process.calls.clear();
  EXPECT_TRUE(HasProtectedOwnerAndDacl(file.Handle()));
  EXPECT_EQ(CallNames(), (std::vector<std::string>{
                             "GetSecurityInfo", "IsValidSid", "IsWellKnownSid", "IsWellKnownSid",
                             "IsValidAcl", "GetSecurityDescriptorControl", "GetAce", "IsValidSid",
                             "IsWellKnownSid", "IsWellKnownSid", "LocalFree"}));
}

TEST_F(ProtectedOwnerAndDacl, QueriesTheOwnerAndTheListOfAFileObject) {
  EXPECT_TRUE(IsProtectedAs(tests::kProtectedSddl));
  const auto calls = CallsOf("GetSecurityInfo");
  ASSERT_EQ(calls.size(), 1U);
  EXPECT_EQ(calls[0].Argument("ObjectType"), "1");
  EXPECT_EQ(calls[0].Argument("SecurityInfo"), "0x5");
}

TEST_F(ProtectedOwnerAndDacl, RefusesWhatCannotBeRead) {
  for (const char* call :
       {"GetSecurityInfo", "GetSecurityDescriptorControl", "IsValidSid", "IsValidAcl", "GetAce"}) {
    FailCall(call, platform::ERROR_GEN_FAILURE);
    EXPECT_FALSE(IsProtectedAs(tests::kProtectedSddl)) << call;
  }
  FailCall("GetAce", platform::ERROR_GEN_FAILURE, 2);
  EXPECT_FALSE(IsProtectedAs(tests::kProtectedSddl));
  for (const std::uint32_t entry : {2U, 3U}) {
    FailCall("IsValidSid", platform::ERROR_GEN_FAILURE, entry);
    EXPECT_FALSE(IsProtectedAs(tests::kProtectedSddl)) << entry;
  }
  EXPECT_TRUE(IsProtectedAs(tests::kProtectedSddl));
}

TEST_F(ProtectedOwnerAndDacl, IgnoresTheOutputOfACallThatFailed) {
  for (const char* call : {"GetSecurityInfo", "GetAce"}) {
    AddFault(call, sim::FaultKind::FailAfterEffect);
    EXPECT_FALSE(IsProtectedAs(tests::kProtectedSddl)) << call;
  }
}

TEST_F(ProtectedOwnerAndDacl, RefusesAnObjectThatIsNotOpen) {
  EXPECT_FALSE(HasProtectedOwnerAndDacl(nullptr));
  EXPECT_LAST_ERROR(ERROR_ACCESS_DENIED);
}

TEST_F(ProtectedOwnerAndDacl, FreesTheDescriptorWhateverTheAnswer) {
  IsProtectedAs(u"O:BUD:P(A;;FA;;;BA)");
  IsProtectedAs(tests::kProtectedSddl);
  EXPECT_EQ(CallsOf("LocalFree").size(), 2U);
}

TEST_F(ProtectedOwnerAndDacl, RefusesAnEntryThatIsNotReturned) {
  sim::Fault lie;
  lie.call = "GetAce";
  lie.kind = sim::FaultKind::SucceedWithoutEffect;
  process.faults = {lie};
  EXPECT_FALSE(IsProtectedAs(tests::kProtectedSddl));
}

TEST_F(ProtectedOwnerAndDacl, RefusesADescriptorWithoutAnOwner) {
  EXPECT_FALSE(IsProtectedAs(u"D:P(A;;FA;;;SY)(A;;FA;;;BA)"));
}

TEST_F(ProtectedOwnerAndDacl, RefusesAnAccessListThatInheritsWhateverItHolds) {
  EXPECT_FALSE(IsProtectedAs(u"O:BAD:AI(A;;FA;;;SY)(A;;FA;;;BA)"));
}

}  // namespace
}  // namespace vorn::privileged_input

// Where the package snapshot is put, and how its folder is protected.

#include "platform/simulated/error_values.h"
#include "platform/simulated/native_values.h"
#include "tests/privileged_input/package_snapshot.h"

namespace vorn::privileged_input {
namespace {

using tests::kGuidRoot;
using tests::Repeat;

TEST_F(PackageSnapshotTest, QueriesTheTemporaryFolderIntoALargeBuffer) {
  ASSERT_TRUE(Acquire());
  ASSERT_EQ(CallsOf("GetTempPathW").size(), 1U);
  EXPECT_EQ(CallsOf("GetTempPathW")[0].Argument("nBufferLength"), "32768");
}

TEST_F(PackageSnapshotTest, TrimsTrailingBackslashesExceptADriveRoots) {
  for (const char16_t* base : {u"C:\\Temp\\\\\\", u"C:\\Temp"}) {
    machine.files.tempFolder = base;
    EXPECT_TRUE(Acquire()) << testing::PrintToString(base);
  }
  for (const char16_t* base : {u"C:\\", u"C:\\\\", u"C:\\\\\\"}) {
    machine.files.tempFolder = base;
    ASSERT_TRUE(Acquire()) << testing::PrintToString(base);
    EXPECT_TRUE(snapshot->Input().path.starts_with(std::u16string(kGuidRoot) + u"VORN-input-"));
  }
}

TEST_F(PackageSnapshotTest, UsesAnotherBaseIfOneIsGiven) {
  sim::MakeFolder(Files(), u"C:\\base");
  const PrivatePackage package = CreatePackage(u"C:\\base\\");
  EXPECT_TRUE(package);
  EXPECT_EQ(sim::ListFolder(Files(), u"C:\\base").size(), 1U);
  EXPECT_TRUE(CallsOf("GetTempPathW").empty());
}

TEST_F(PackageSnapshotTest, RefusesATemporaryFolderThatIsALinkOrBehindOne) {
  sim::MakeFolder(Files(), u"C:\\real\\inner");
  sim::PutLink(Files(), u"C:\\linked", sim::ReparseKind::Junction, u"C:\\real", true);
  for (const char16_t* base : {u"C:\\linked\\", u"C:\\linked\\inner\\"}) {
    machine.files.tempFolder = base;
    ExpectRefused("00001129");
  }
  EXPECT_EQ(sim::ListFolder(Files(), u"C:\\real").size(), 1U);
}

TEST_F(PackageSnapshotTest, IsRefusedInATemporaryFolderThatBecomesALinkWhileItIsHeld) {
  sim::Fault becomesLink;
  becomesLink.call = "BCryptGenRandom";
  becomesLink.kind = sim::FaultKind::Change;
  becomesLink.change = [](sim::Machine& now) {
    sim::Node& temp = sim::NodeAt(now.files, u"C:\\Temp");
    temp.reparse = sim::ReparseKind::Junction;
    temp.reparseTarget = u"C:\\elsewhere";
  };
  process.faults = {becomesLink};
  ExpectRefused("00001129");
}

TEST_F(PackageSnapshotTest, RefusesATemporaryFolderOnANetworkDrive) {
  Files().dosDevices[u"N:"] = u"\\Device\\Mup\\server\\share";
  machine.files.tempFolder = u"N:\\Temp\\";
  ExpectRefused("000004B0");
  machine.files.tempFolder = u"\\\\server\\share\\Temp\\";
  ExpectRefused("0000007B");
}

TEST_F(PackageSnapshotTest, RefusesATemporaryFolderThatIsMissingOrUnknown) {
  machine.files.tempFolder = u"C:\\none\\";
  ExpectRefused("00000002");
  machine.files.tempFolder = u"C:\\" + Repeat(u'a', 33000) + u"\\";
  ExpectRefused("000003EE");
  machine.files.tempFolder =
      u"C:\\" + Repeat(u'a', 32764);  // fits the buffer, and is too long a path
  ExpectRefused("0000007B");
  machine.files.tempFolder = u"C:\\Temp\\";
  FailCall("GetTempPathW", platform::ERROR_NOT_ENOUGH_MEMORY);
  ExpectRefused("00000008");
}

TEST_F(PackageSnapshotTest, AsksOnceForATemporaryFolderThatIsTooLong) {
  machine.files.tempFolder = u"C:\\" + Repeat(u'a', 33000) + u"\\";
  EXPECT_FALSE(Acquire());
  EXPECT_EQ(CallsOf("GetTempPathW").size(), 1U);
}

TEST_F(PackageSnapshotTest, IsNotNamedWithoutADescriptor) {
  FailCall("ConvertStringSecurityDescriptorToSecurityDescriptorW",
           platform::ERROR_NOT_ENOUGH_MEMORY);
  ExpectRefused("00000008");
  EXPECT_TRUE(CallsOf("BCryptGenRandom").empty());
}

TEST_F(PackageSnapshotTest, IsNotNamedWithoutATemporaryFolder) {
  machine.files.tempFolder = u"C:\\none\\";
  ExpectRefused("00000002");
  EXPECT_TRUE(CallsOf("ConvertStringSecurityDescriptorToSecurityDescriptorW").empty());
  EXPECT_TRUE(CallsOf("BCryptGenRandom").empty());
}

TEST_F(PackageSnapshotTest, IsRemovedBeforeTheNextIsMade) {
  ASSERT_TRUE(Acquire());
  std::vector<std::u16string> left = {u"never listed"};
  ChangeBefore("BCryptGenRandom", 1,
               [&left](sim::Machine& now) { left = sim::ListFolder(now.files, u"C:\\Temp"); });
  ASSERT_TRUE(Acquire());
  EXPECT_EQ(left, std::vector<std::u16string>{});
}

TEST_F(PackageSnapshotTest, NeverUsesAnExistingFolder) {
  const std::uint64_t random = machine.randomState;
  ASSERT_TRUE(Acquire());
  const std::u16string name = CopyFolder();
  Release();
  machine.randomState = random;
  sim::PutFile(Files(), name + u"\\planted", "planted");
  EXPECT_FALSE(Acquire());
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: protected local package snapshot refused (error 0x000000B7)\n");
  EXPECT_EQ(sim::ListFolder(Files(), name), std::vector<std::u16string>{u"planted"});
}

TEST_F(PackageSnapshotTest, IsRefusedIfItIsNotProtected) {
  const auto loosen = [](sim::Machine& changed) {
    const std::u16string name = sim::ListFolder(changed.files, u"C:\\Temp").at(0);
    sim::NodeAt(changed.files, u"C:\\Temp\\" + name).security.daclProtected = false;
  };
  ChangeBefore("GetSecurityInfo", 1, loosen);
  ExpectRefused("00000005");
  const auto loosenInf = [](sim::Machine& changed) {
    const std::u16string name = sim::ListFolder(changed.files, u"C:\\Temp").at(0);
    sim::NodeAt(changed.files, u"C:\\Temp\\" + name + u"\\vorn_audio.inf").security.owner =
        sim::kOtherUser;
  };
  ChangeBefore("GetSecurityInfo", 3, loosenInf);
  ExpectRefused("00000005");
}

TEST_F(PackageSnapshotTest, IsNotCheckedWhereVerificationIsSkipped) {
  constexpr char16_t kOpenToAllSddl[] = u"O:BAD:(A;OICI;FA;;;BA)(A;OICI;FA;;;WD)";
  const PrivatePackage package = CreatePackage({}, kOpenToAllSddl, ProtectionCheck::Skip);
  EXPECT_TRUE(package);
  EXPECT_TRUE(CallsOf("GetSecurityInfo").empty());
  EXPECT_FALSE(CreatePackage({}, kOpenToAllSddl, ProtectionCheck::Verify));
  EXPECT_LAST_ERROR(ERROR_ACCESS_DENIED);
}

TEST_F(PackageSnapshotTest, ReportsAMalformedDescriptor) {
  EXPECT_FALSE(CreatePackage({}, u"nonsense"));
  EXPECT_NE(platform::GetLastError(), 0U);
  ExpectNothingLeft();
}

TEST_F(PackageSnapshotTest, ReportsAFailedRandomSourceAsAWin32Error) {
  FailCall("BCryptGenRandom", static_cast<std::uint32_t>(platform::STATUS_UNSUCCESSFUL));
  ExpectRefused("0000001F");
}

TEST_F(PackageSnapshotTest, TreatsOnlyANegativeStatusOfTheRandomSourceAsFailure) {
  constexpr std::uint32_t kStatusPending = 0x103;
  FailCall("BCryptGenRandom", kStatusPending);
  EXPECT_TRUE(Acquire());
}

}  // namespace
}  // namespace vorn::privileged_input

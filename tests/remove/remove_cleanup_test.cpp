#include "base/text.h"
#include "platform/simulated/endpoint_builder.h"
#include "platform/simulated/native_values.h"
#include "platform/simulated/registry_values.h"
#include "remove_run.h"
#include "tests/support/machine_view.h"

namespace vorn {
namespace {

using namespace platform::simulated;
using namespace tests;

// ------------------------------------------------------------------------------------------------
// Packages.

TEST_F(RemoveCommand, RemovesEveryCopyInTheOrderOfItsName) {
  CopyPackage(machine, u"oem3.inf", u"oem12.inf");
  const RunResult result = Run();
  EXPECT_EQ(result.status, 0);
  const Console lines = ConsoleOf(result);
  EXPECT_EQ(lines[2], Out("vorn_devnode: removed authenticated driver package oem12.inf"));
  EXPECT_EQ(lines[3], kPackageRemoved);
  EXPECT_EQ(lines.back(), OkLine(1, 2, 20));
}

TEST_F(RemoveCommand, KeepsEveryCopyBecauseOfOneThatIsDoubtful) {
  CopyPackage(machine, u"oem3.inf", u"oem12.inf");
  machine.store.Find(u"oem3.inf")->originalCatalog = u"other.cat";
  const RunResult result = Run();
  EXPECT_EQ(result.status, 13);
  EXPECT_EQ(ConsoleOf(result),
            (Console{kQuiesced, kLetGo,
                     Err("vorn_devnode: exact-hash package oem3.inf changed or failed structured "
                         "identity validation; retaining all remaining packages"),
                     kResidue}));
  ExpectNothingCleaned();
  EXPECT_EQ(Shown(result), 0U);
  EXPECT_NE(RemovalLogText(machine).find(
                "remove: RESULT=REMOVE_FAILED - device roots are absent but exact driver-package "
                "cleanup could not be proven; residue retained\r\n"),
            std::string::npos);
}

TEST_F(RemoveCommand, LeavesAPackageOfAnotherVersion) {
  machine = OutdatedMachine();
  const RunResult result = Run();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(ConsoleOf(result).back(), OkLine(1, 0, 20));
  EXPECT_EQ(machine.store, before.store);
}

TEST_F(RemoveCommand, DoesNotCountAPackageThatVanishes) {
  const RunResult result = Run({ChangeBefore("SetupUninstallOEMInfW", 1, [](Machine& world) {
    UninstallPackage(world, u"oem3.inf", SUOI_FORCEDELETE);
  })});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(ConsoleOf(result).back(), OkLine(1, 0, 20));
}

TEST_F(RemoveCommand, FailsWithAPackageThatIsInUse) {
  Device user;
  user.instanceId = u"USB\\VID_1\\1";
  user.enumerator = u"USB";
  user.present = false;
  user.publishedInf = u"oem3.inf";
  machine.devices.Insert(user);
  const RunResult result = Run();
  EXPECT_EQ(result.status, 13);
  EXPECT_EQ(ConsoleOf(result),
            (Console{kQuiesced, kLetGo,
                     Err("vorn_devnode: SetupUninstallOEMInf(exact VORN package) failed (error "
                         "0xE000023D)"),
                     kResidue}));
  ExpectNothingCleaned();
}

TEST_F(RemoveCommand, StopsAtThePackageThatCannotBeUninstalled) {
  CopyPackage(machine, u"oem3.inf", u"oem12.inf");
  machine.store.Find(u"oem12.inf")->uninstallError = 5;
  const RunResult result = Run();
  EXPECT_EQ(result.status, 13);
  EXPECT_EQ(result.CallsOf("SetupUninstallOEMInfW").size(), 1U);
  EXPECT_EQ(ConsoleOf(result).back(), kResidue);
  ExpectNothingCleaned();
}

// ------------------------------------------------------------------------------------------------
// Endpoint records.

class RemoveCommandRecords : public RemoveCommand {
 protected:
  /// The path of the nth marked record.
  std::u16string RecordPath(std::size_t nth) const {
    return kEndpointRecordsPath + (u"\\" + OwnedRecords(machine)[nth]);
  }
  Key& KeyAt(const std::u16string& path) {
    return machine.registry.keys.at(*FindKey(machine.registry, path));
  }
};

TEST_F(RemoveCommandRecords, AreReportedInTheirOrderAndChangeNoResult) {
  std::vector<std::string> records;
  for (const std::u16string& record : OwnedRecords(machine))
    records.push_back(ToUtf8(record));
  KeyAt(RecordPath(1)).deleteStatus = platform::STATUS_INSUFFICIENT_RESOURCES;
  KeyAt(RecordPath(3)).deleteStatus = platform::STATUS_ACCESS_DENIED;
  KeyAt(RecordPath(0) + u"\\Properties").openError = 5;
  KeyAt(RecordPath(2) + u"\\Properties").openError = 1450;
  KeyAt(kEndpointRecordsPath + std::u16string(u"\\Capture")).openError = 5;
  const RunResult result = Run();
  EXPECT_EQ(result.status, 0);
  Console expected = {kQuiesced, kLetGo, kPackageRemoved};
  for (std::size_t i = 4; i < 10; ++i)
    expected.push_back(Out("vorn_devnode: removed VORN endpoint record " + records[i]));
  const std::string retained = " could not be removed and remains as Windows endpoint history";
  expected.push_back(Err("vorn_devnode: WARNING - VORN endpoint record " + records[1] +
                         " (error 0x000005AA)" + retained));
  expected.push_back(Err("vorn_devnode: WARNING - VORN endpoint record " + records[3] +
                         " (error 0x00000005)" + retained));
  for (const std::size_t i : {0U, 2U}) {
    expected.push_back(Err("vorn_devnode: WARNING - endpoint record " + records[i] +
                           " could not be read, so its owner is unknown; left untouched"));
  }
  expected.push_back(
      Err("vorn_devnode: WARNING - the MMDevices endpoint records could not all be listed; VORN "
          "endpoint history may remain"));
  expected.push_back(OkLine(1, 1, 6, 2));
  EXPECT_EQ(ConsoleOf(result), expected);
  EXPECT_EQ(RemovalLogText(machine),
            "[2026-03-04 05:06:07.089] remove: quiesced all endpoints of ROOT\\MEDIA\\0000\r\n"
            "[2026-03-04 05:06:07.089] remove: query-remove succeeded on attempt 1 after 0 ms\r\n")
      << "warnings and the success are not logged";
}

TEST_F(RemoveCommandRecords, AreRemovedWhenNothingElseIsLeft) {
  Run({FailingCall("RegOpenKeyExW", 5), FailingCall("RegOpenKeyExW", 5, 2)});
  ASSERT_EQ(OwnedRecords(machine).size(), 20U);
  const RunResult result = Run();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(ConsoleOf(result).back(), OkLine(0, 0, 20));
  EXPECT_TRUE(OwnedRecords(machine).empty());
}

TEST_F(RemoveCommandRecords, AreAllRetainedWithoutThePrivileges) {
  token.holdsBackup = false;
  token.holdsRestore = false;
  const RunResult result = Run();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(ConsoleOf(result).back(), OkLine(1, 1, 0, 20));
  EXPECT_EQ(OwnedRecords(machine).size(), 20U);
}

TEST_F(RemoveCommandRecords, ThatStayActiveAreWaitedForAndDeleted) {
  machine.audio.recordsStayActive = true;
  const RunResult result = Run({FailingCall("DeviceIoControl", 5)});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(ConsoleOf(result).back(), OkLine(1, 1, 20));
  EXPECT_EQ(Took(), 10'000U);
  EXPECT_TRUE(OwnedRecords(machine).empty());
}

TEST_F(RemoveCommandRecords, ThatStayActiveAreGivenTheWholeTenSeconds) {
  machine.audio.recordsStayActive = true;
  // The first state is read after the marker of each record. One round then ends a millisecond
  // before the ten seconds do.
  const auto markers =
      static_cast<std::uint32_t>(OwnedRecords(machine).size() + OtherRecords(machine).size());
  const RunResult result =
      Run({FailingCall("DeviceIoControl", 5), SlowCall("RegGetValueW", 249, markers + 1)});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(Took(), 10'249U);
}

TEST_F(RemoveCommandRecords, ThatGoIdleLateAreWaitedFor) {
  machine.audio.recordDelay = 3'000;
  const RunResult result = Run({FailingCall("DeviceIoControl", 5)});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(ConsoleOf(result).back(), OkLine(1, 1, 20));
  EXPECT_EQ(Took(), 3'000U);
}

TEST_F(RemoveCommandRecords, WithAnotherMarkerStay) {
  PutDword(machine.registry, RecordPath(0) + u"\\Properties", kCableMarkerName, 10);
  PutValue(machine.registry, RecordPath(1) + u"\\Properties", kCableMarkerName, platform::REG_QWORD,
           {1, 0, 0, 0, 0, 0, 0, 0});
  PutString(machine.registry, RecordPath(2) + u"\\Properties", kCableMarkerName, u"1");
  const RunResult result = Run();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(ConsoleOf(result).back(), OkLine(1, 1, 17));
}

}  // namespace
}  // namespace vorn

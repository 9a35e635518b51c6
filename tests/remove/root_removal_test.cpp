#include "platform/device_setup.h"
#include "platform/simulated/config_manager_values.h"
#include "remove_run.h"
#include "tests/support/machine_view.h"

namespace vorn {
namespace {

using namespace platform::simulated;
using namespace tests;

// ------------------------------------------------------------------------------------------------
// Quiesce and query-remove.

TEST_F(RemoveCommand, GoesOnWhenTheEndpointsCannotBeQuiesced) {
  const RunResult result = Run({FailingCall("DeviceIoControl", 5)});
  EXPECT_EQ(result.status, 0);
  const Console lines = ConsoleOf(result);
  ASSERT_GE(lines.size(), 3U);
  EXPECT_EQ(lines[0],
            Err("vorn_devnode: driver quiesce could not acquire the controller lease (error "
                "0x00000005)"));
  EXPECT_EQ(lines[1],
            Err("vorn_devnode: endpoints could not all be quiesced before removal; trying the "
                "removal anyway"));
  EXPECT_EQ(lines[2], kLetGo);
  EXPECT_EQ(lines.back(), OkLine(1, 1, 20));
  EXPECT_NE(RemovalLogText(machine).find("remove: endpoints could not all be quiesced before "
                                         "removal; trying the removal anyway\r\n"),
            std::string::npos);
}

TEST_F(RemoveCommand, LeavesHiddenWhatItCouldHideWhenOneEndpointRefuses) {
  const RunResult result = Run({FailingCall("DeviceIoControl", 5, 3)});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.CallsOf("DeviceIoControl").size(), 22U)
      << "the lease, a request for each endpoint, and nothing shown again";
  EXPECT_EQ(ConsoleOf(result)[1],
            Err("vorn_devnode: endpoints could not all be quiesced before removal; trying the "
                "removal anyway"));
}

TEST_F(RemoveCommand, GivesUpOnADeviceThatIsHeld) {
  Root().temper.vetoUntil = machine.clock.tick + 60'000;
  Root().temper.vetoType = 5;
  Root().temper.vetoName = u"\\Device\\HarddiskVolume3\\player.exe";
  const RunResult result = Run();
  EXPECT_EQ(result.status, 17);
  const std::string veto = ": CONFIGRET 23, veto type 5 by '\\Device\\HarddiskVolume3\\player.exe'";
  EXPECT_EQ(ConsoleOf(result),
            (Console{kQuiesced, Err("vorn_devnode: query-remove attempt 1" + veto),
                     Err("vorn_devnode: query-remove attempt 41" + veto), kBusy}));
  EXPECT_EQ(
      RemovalLogText(machine),
      "[2026-03-04 05:06:07.089] remove: quiesced all endpoints of ROOT\\MEDIA\\0000\r\n"
      "[2026-03-04 05:06:07.089] remove: query-remove attempt 1" +
          veto +
          "\r\n"
          "[2026-03-04 05:06:17.089] remove: query-remove attempt 41" +
          veto +
          "\r\n"
          "[2026-03-04 05:06:17.089] remove: RESULT=REMOVE_BUSY - the device is still held after "
          "10 s; nothing was removed and no restart scheduled\r\n");
  EXPECT_EQ(Shown(result), 20U);
  EXPECT_TRUE(Root().hidden.empty());
  EXPECT_FALSE(result.Called("SetupDiCallClassInstaller"));
  ExpectNothingCleaned();
}

TEST_F(RemoveCommand, ShowsTheEndpointsOfAHeldDeviceAfterItHasSaidSo) {
  Root().temper.vetoUntil = machine.clock.tick + 60'000;
  std::string logged;
  // To hide the endpoints takes 22 requests; the next one begins to show them.
  EXPECT_EQ(Run({ChangeBefore("DeviceIoControl", 23,
                              [&logged](Machine& world) { logged = RemovalLogText(world); })})
                .status,
            17);
  EXPECT_NE(logged.find("RESULT=REMOVE_BUSY"), std::string::npos) << logged;
}

TEST_F(RemoveCommand, GivesAHeldDeviceTheWholeTenSeconds) {
  Root().temper.vetoUntil = machine.clock.tick + 60'000;
  // One attempt then ends a millisecond before the ten seconds do.
  const RunResult result = Run({SlowCall("CM_Query_And_Remove_SubTreeW", 249)});
  EXPECT_EQ(result.status, 17);
  EXPECT_EQ(Took(), 10'249U);
}

TEST_F(RemoveCommand, GoesOnAfterAVetoThatEnds) {
  Root().temper.vetoUntil = machine.clock.tick + 9'900;
  const RunResult result = Run();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(ConsoleOf(result)[2],
            Err("vorn_devnode: query-remove succeeded on attempt 41 after 10000 ms"));
  EXPECT_EQ(ConsoleOf(result).back(), OkLine(1, 1, 20));
}

TEST_F(RemoveCommand, LeavesOtherRefusalsToTheRemovalItself) {
  Root().temper.queryRemoveResult = platform::CR_ACCESS_DENIED;
  const RunResult result = Run();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(ConsoleOf(result)[1],
            Err("vorn_devnode: query-remove attempt 1: CONFIGRET 51, veto type 0 by ''"));
  EXPECT_EQ(ConsoleOf(result).back(), OkLine(1, 1, 20));
  EXPECT_EQ(Shown(result), 0U) << "the device is gone";
}

// ------------------------------------------------------------------------------------------------
// DIF_REMOVE and the count.

TEST_F(RemoveCommand, FailsWithoutAListOfRoots) {
  machine = DuplicatesMachine();
  const RunResult result = Run({FailingCall("SetupDiGetClassDevsW", 8, 2)});
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(ConsoleOf(result),
            Console{Err("vorn_devnode: SetupDiGetClassDevs failed (error 0x00000008)")});
  EXPECT_EQ(RemovalLogText(machine), "no file");
  EXPECT_EQ(machine.devices, before.devices);
  ExpectNothingCleaned();
}

TEST_F(RemoveCommand, ShowsTheEndpointsAgainWithoutAListOfRoots) {
  Root().temper.queryRemoveResult = platform::CR_ACCESS_DENIED;
  const RunResult result = Run({FailingCall("SetupDiGetClassDevsW", 8, 3)});
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(ConsoleOf(result).back(),
            Err("vorn_devnode: SetupDiGetClassDevs failed (error 0x00000008)"));
  EXPECT_EQ(Shown(result), 20U);
  EXPECT_TRUE(Root().hidden.empty());
}

TEST_F(RemoveCommand, ReportsThatTheEndpointsOfADeviceThatLetGoCannotBeShown) {
  const RunResult result = Run({FailingCall("SetupDiGetClassDevsW", 8, 3)});
  EXPECT_EQ(result.status, 3);
  const Console lines = ConsoleOf(result);
  ASSERT_EQ(lines.size(), 4U);
  EXPECT_EQ(lines[2], Err("vorn_devnode: SetupDiGetClassDevs failed (error 0x00000008)"));
  EXPECT_TRUE(lines[3].error &&
              lines[3].text.starts_with("vorn_devnode: driver quiesce could not open the device: "))
      << lines[3];
}

TEST_F(RemoveCommand, FailsWhenARootCannotBeRemoved) {
  machine = DuplicatesMachine();
  Root(u"ROOT\\MEDIA\\0002").temper.removeError = 0xE0000203;
  const RunResult result = Run();
  EXPECT_EQ(result.status, 13);
  EXPECT_EQ(ConsoleOf(result),
            (Console{Err("vorn_devnode: SetupDiCallClassInstaller(DIF_REMOVE) failed (error "
                         "0xE0000203)"),
                     Partial(1)}));
  EXPECT_EQ(InstalledRootIds(machine), std::vector<std::u16string>{u"ROOT\\MEDIA\\0002"});
  EXPECT_EQ(RemovalLogText(machine),
            "[2026-03-04 05:06:37.089] remove: RESULT=REMOVE_FAILED - partial or unverifiable "
            "removal; installed roots=1\r\n");
  ExpectNothingCleaned();
  EXPECT_EQ(Took(), 30'000U);
}

TEST_F(RemoveCommand, GoesOnToTheNextRootWhenTheFirstFails) {
  machine = DuplicatesMachine();
  const RunResult result = Run({FailingCall("SetupDiSetClassInstallParamsW", 0xE0000225)});
  EXPECT_EQ(result.status, 13);
  EXPECT_EQ(ConsoleOf(result),
            (Console{Err("vorn_devnode: SetupDiSetClassInstallParams(DIF_REMOVE) failed (error "
                         "0xE0000225)"),
                     Partial(1)}));
  EXPECT_EQ(InstalledRootIds(machine), std::vector<std::u16string>{kRootId});
  EXPECT_EQ(result.CallsOf("SetupDiCallClassInstaller").size(), 2U);
}

TEST_F(RemoveCommand, FailsAfterAFailedRemovalEvenWithNoRootLeft) {
  Fault fault = FailingCall("SetupDiCallClassInstaller", 31);
  fault.kind = FaultKind::FailAfterEffect;
  const RunResult result = Run({fault});
  EXPECT_EQ(result.status, 13);
  const Console lines = ConsoleOf(result);
  ASSERT_EQ(lines.size(), 5U);
  EXPECT_EQ(lines[2],
            Err("vorn_devnode: SetupDiCallClassInstaller(DIF_REMOVE) failed (error 0x0000001F)"));
  EXPECT_EQ(lines[3], Partial(0));
  EXPECT_TRUE(lines[4].text.starts_with("vorn_devnode: driver quiesce could not open the device: "))
      << "it tried to show the endpoints all the same: " << lines[4];
  EXPECT_TRUE(InstalledRootIds(machine).empty());
  ExpectNothingCleaned();
}

TEST_F(RemoveCommand, FailsAfterAFailedRemovalEvenIfARestartIsNeeded) {
  machine = DuplicatesMachine();
  Root(kRootId).temper.removeNeedsRestart = true;
  Root(u"ROOT\\MEDIA\\0002").temper.removeError = 5;
  const RunResult result = Run();
  EXPECT_EQ(result.status, 13);
  EXPECT_EQ(ConsoleOf(result).back(), Partial(1));
}

TEST_F(RemoveCommand, ShowsTheEndpointsAgainAfterAFailedRemoval) {
  Root().temper.queryRemoveResult = platform::CR_ACCESS_DENIED;
  Root().temper.removeError = 5;
  const RunResult result = Run();
  EXPECT_EQ(result.status, 13);
  EXPECT_EQ(ConsoleOf(result).back(), Partial(1));
  EXPECT_EQ(Shown(result), 20U);
  EXPECT_TRUE(Root().hidden.empty());
}

TEST_F(RemoveCommand, FailsAfterAFailedRemovalThatLeavesNoRootEvenIfARestartIsNeeded) {
  machine = DuplicatesMachine();
  Root(kRootId).temper.removeNeedsRestart = true;
  Fault fault = FailingCall("SetupDiCallClassInstaller", 31, 2);
  fault.kind = FaultKind::FailAfterEffect;
  const RunResult result = Run({fault});
  EXPECT_EQ(result.status, 13);
  EXPECT_EQ(
      ConsoleOf(result),
      (Console{Err("vorn_devnode: SetupDiCallClassInstaller(DIF_REMOVE) failed (error 0x0000001F)"),
               Partial(0)}));
  EXPECT_TRUE(InstalledRootIds(machine).empty());
  ExpectNothingCleaned();
}

TEST_F(RemoveCommand, FailsWhenTheRootsCannotAllBeSeenEvenIfARestartIsNeeded) {
  machine = DuplicatesMachine();
  Root(kRootId).temper.removeNeedsRestart = true;
  const RunResult result = Run({LastEnumerationFails(2)});
  EXPECT_EQ(result.status, 13);
  EXPECT_EQ(ConsoleOf(result), Console{Partial(0)});
  ExpectNothingCleaned();
}

TEST_F(RemoveCommand, ShowsTheEndpointsAgainWhenTheRootsCannotAllBeSeen) {
  Root().temper.queryRemoveResult = platform::CR_ACCESS_DENIED;
  Root().temper.removeKeepsNodeUntilRestart = true;
  const RunResult result = Run({LastEnumerationFails(3)});
  EXPECT_EQ(result.status, 13);
  EXPECT_EQ(ConsoleOf(result).back(), Partial(1));
  EXPECT_EQ(Shown(result), 20U);
  EXPECT_TRUE(Root().hidden.empty());
}

TEST_F(RemoveCommand, ShowsTheEndpointsAgainWhenTheRootsCannotBeCounted) {
  Root().temper.queryRemoveResult = platform::CR_ACCESS_DENIED;
  Root().temper.removeNeedsRestart = true;
  Root().temper.removeKeepsNodeUntilRestart = true;
  // All 60 counts fail; the interfaces are listed again after them.
  Fault fault = FailingCall("SetupDiGetClassDevsW", 8, 4);
  fault.last = 63;
  const RunResult result = Run({fault});
  EXPECT_EQ(result.status, 13);
  EXPECT_EQ(ConsoleOf(result).back(), Partial(-1));
  EXPECT_EQ(Shown(result), 20U);
  EXPECT_TRUE(Root().hidden.empty());
}

TEST_F(RemoveCommand, LeavesADeadDeviceThatLetGoAndCannotBeRemoved) {
  Root().temper.removeError = 5;
  const RunResult result = Run();
  EXPECT_EQ(result.status, 13);
  const Console lines = ConsoleOf(result);
  ASSERT_GE(lines.size(), 5U);
  EXPECT_EQ(lines[1], kLetGo);
  EXPECT_EQ(lines[2],
            Err("vorn_devnode: SetupDiCallClassInstaller(DIF_REMOVE) failed (error 0x00000005)"));
  EXPECT_EQ(lines[3], Partial(1));
  // The endpoints went with the driver, so there is nothing to show again.
  EXPECT_TRUE(
      lines[4].text.starts_with("vorn_devnode: driver quiesce could not open the device: "));
  Advance(machine, 60'000);
  EXPECT_TRUE(Root().present);
  EXPECT_FALSE(IsStarted(Root()));
  ExpectNothingCleaned();
  Reboot(machine);
  EXPECT_TRUE(IsStarted(Root()));
}

TEST_F(RemoveCommand, RemovesADeviceThatAFailedRemovalLeftDead) {
  Root().temper.removeError = 5;
  Run();
  Root().temper.removeError = 0;
  EXPECT_EQ(Run().status, 0);
  EXPECT_TRUE(InstalledRootIds(machine).empty());
}

TEST_F(RemoveCommand, FailsWhenTheRootsCannotAllBeSeen) {
  machine = DuplicatesMachine();
  const RunResult result = Run({LastEnumerationFails(2)});
  EXPECT_EQ(result.status, 13);
  EXPECT_EQ(ConsoleOf(result), Console{Partial(0)});
  EXPECT_TRUE(InstalledRootIds(machine).empty());
  ExpectNothingCleaned();
}

TEST_F(RemoveCommand, FailsWhenTheRootsCannotBeCounted) {
  Fault fault = FailingCall("SetupDiGetClassDevsW", 8, 4);
  fault.last = kEveryLaterCall;
  const RunResult result = Run({fault});
  EXPECT_EQ(result.status, 13);
  EXPECT_EQ(ConsoleOf(result)[2], Partial(-1));
  EXPECT_EQ(Took(), 30'000U);
  ExpectNothingCleaned();
}

TEST_F(RemoveCommand, CountsAgainAfterACountThatFailed) {
  const RunResult result = Run({FailingCall("SetupDiGetClassDevsW", 8, 4)});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(ConsoleOf(result).back(), OkLine(1, 1, 20));
  EXPECT_EQ(Took(), 500U);
}

TEST_F(RemoveCommand, IgnoresInstallParametersThatCannotBeRead) {
  Root().temper.removeNeedsRestart = true;
  const RunResult result = Run({FailingCall("SetupDiGetDeviceInstallParamsW", 13)});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(ConsoleOf(result).back(), OkLine(1, 1, 20));
}

// ------------------------------------------------------------------------------------------------
// The wait and the restart.

TEST_F(RemoveCommand, WaitsForADeviceThatTakesItsTime) {
  Root().temper.removeDelay = 20'000;
  const RunResult result = Run();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(ConsoleOf(result).back(), OkLine(1, 1, 20));
  EXPECT_EQ(Took(), 20'000U);
  const auto sleeps = result.CallsOf("Sleep");
  EXPECT_EQ(sleeps.size(), 40U);
  for (const CallRecord& sleep : sleeps)
    EXPECT_EQ(sleep.Argument("milliseconds"), "500");
}

TEST_F(RemoveCommand, WaitsFromTheLastRemovalOn) {
  Root().temper.removeDelay = 20'000;
  Fault slow;
  slow.call = "SetupDiCallClassInstaller";
  slow.kind = FaultKind::TakeTime;
  slow.amount = 40'000;
  const RunResult result = Run({slow});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(Took(), 60'000U);
}

TEST_F(RemoveCommand, CountsTheTimeOfACountAgainstItsWait) {
  Root().temper.removeDelay = 40'000;
  Fault slow;
  slow.call = "SetupDiGetClassDevsW";
  slow.first = slow.last = 4;
  slow.kind = FaultKind::TakeTime;
  slow.amount = 29'500;
  const RunResult result = Run({slow});
  EXPECT_EQ(result.status, 13);
  EXPECT_EQ(Took(), 30'000U);
  EXPECT_EQ(result.CallsOf("Sleep").size(), 1U);
}

TEST_F(RemoveCommand, WaitsAsLongHoweverLongTheMachineIsUp) {
  const Machine installed = machine;
  for (const std::uint64_t start :
       {(std::uint64_t{1} << 32) - 30'001, (std::uint64_t{1} << 32) - 30'000,
        (std::uint64_t{1} << 32) - 10'000, (std::uint64_t{1} << 32) - 1, std::uint64_t{1} << 32,
        (std::uint64_t{1} << 63) - 10'000}) {
    SCOPED_TRACE(start);
    machine = installed;
    machine.clock.tick = start;
    Root().temper.removeDelay = 40'000;
    const RunResult result = Run();
    EXPECT_EQ(result.status, 13);
    EXPECT_EQ(Took(), 30'000U);
    EXPECT_EQ(result.CallsOf("Sleep").size(), 60U);
  }
}

TEST_F(RemoveCommand, DoesNotLookAgainWhenTheTimeIsUp) {
  // The device goes during the last sleep, after the last count.
  Root().temper.removeDelay = 30'000;
  const RunResult result = Run();
  EXPECT_EQ(result.status, 13);
  EXPECT_EQ(ConsoleOf(result)[2], Remain("REMOVE_FAILED", 1));
}

TEST_F(RemoveCommand, FailsWhenARootRemains) {
  Root().temper.removeDelay = 40'000;
  const RunResult result = Run();
  EXPECT_EQ(result.status, 13);
  EXPECT_EQ(ConsoleOf(result)[2], Remain("REMOVE_FAILED", 1));
  EXPECT_NE(RemovalLogText(machine).find(
                "[2026-03-04 05:06:37.089] remove: RESULT=REMOVE_FAILED - 1 installed root(s) "
                "remain after removal\r\n"),
            std::string::npos);
  EXPECT_EQ(Took(), 30'000U);
  ExpectNothingCleaned();
}

TEST_F(RemoveCommand, ShowsTheEndpointsAgainWhenARootRemains) {
  Root().temper.queryRemoveResult = platform::CR_ACCESS_DENIED;
  Root().temper.removeKeepsNodeUntilRestart = true;
  const RunResult result = Run();
  EXPECT_EQ(result.status, 13);
  EXPECT_EQ(ConsoleOf(result).back(), Remain("REMOVE_FAILED", 1));
  EXPECT_EQ(Shown(result), 20U);
  EXPECT_TRUE(Root().hidden.empty());
}

TEST_F(RemoveCommand, AsksForARestartThatARemainingRootWaitsFor) {
  Root().temper.removeNeedsRestart = true;
  Root().temper.removeKeepsNodeUntilRestart = true;
  Root().temper.queryRemoveResult = platform::CR_ACCESS_DENIED;
  const RunResult result = Run();
  EXPECT_EQ(result.status, 10);
  EXPECT_EQ(ConsoleOf(result).back(), Remain("REBOOT_REQUIRED", 1));
  EXPECT_NE(RemovalLogText(machine).find("remove: RESULT=REBOOT_REQUIRED - 1 installed root(s) "
                                         "remain after removal\r\n"),
            std::string::npos);
  EXPECT_EQ(Shown(result), 20U);
  ExpectNothingCleaned();
}

TEST_F(RemoveCommand, LeavesPackageAndRecordsWhenARestartIsNeeded) {
  Root().temper.removeNeedsRestart = true;
  const RunResult result = Run();
  EXPECT_EQ(result.status, 10);
  EXPECT_EQ(ConsoleOf(result)[2], kPendingRestart);
  EXPECT_EQ(RemovalLogText(machine).find("RESULT"), std::string::npos) << "not logged";
  EXPECT_TRUE(InstalledRootIds(machine).empty());
  ExpectNothingCleaned();
}

/// Makes the count of the wait find no root, although the root is there and runs.
std::vector<Fault> RootIsOverlookedByTheCount() {
  const auto rename = [](std::u16string id) {
    return [id](Machine& world) { world.devices.Find(kRootId)->hardwareIds = {id}; };
  };
  return {ChangeBefore("SetupDiGetClassDevsW", 4, rename(u"Root\\Other")),
          ChangeBefore("SetupDiGetClassDevsW", 5, rename(kSampleHardwareId))};
}

TEST_F(RemoveCommand, ShowsTheEndpointsAgainWhenARestartIsNeeded) {
  Root().temper.queryRemoveResult = platform::CR_ACCESS_DENIED;
  Root().temper.removeNeedsRestart = true;
  Root().temper.removeKeepsNodeUntilRestart = true;
  const RunResult result = Run(RootIsOverlookedByTheCount());
  EXPECT_EQ(result.status, 10);
  EXPECT_EQ(ConsoleOf(result).back(), kPendingRestart);
  EXPECT_EQ(Shown(result), 20U);
  EXPECT_TRUE(Root().hidden.empty());
  ExpectNothingCleaned();
}

TEST_F(RemoveCommand, ReportsThatTheEndpointsOfADeviceThatWaitsForARestartCannotBeShown) {
  Root().temper.removeNeedsRestart = true;
  const RunResult result = Run();
  EXPECT_EQ(result.status, 10);
  EXPECT_EQ(ConsoleOf(result),
            (Console{kQuiesced, kLetGo, kPendingRestart,
                     Err("vorn_devnode: driver quiesce could not open the device: no openable VORN "
                         "interface on this root (control and KS both failed, last error "
                         "0x00000002)")}));
}

TEST_F(RemoveCommand, AsksForARestartForEitherFlag) {
  for (const std::uint32_t flag : {platform::DI_NEEDRESTART, platform::DI_NEEDREBOOT}) {
    machine = DuplicatesMachine();
    Root(u"ROOT\\MEDIA\\0001").installFlags = flag;
    const RunResult result = Run();
    EXPECT_EQ(result.status, 10);
    EXPECT_EQ(ConsoleOf(result), Console{kPendingRestart});
  }
  machine = DuplicatesMachine();
  Root(u"ROOT\\MEDIA\\0001").installFlags = ~(platform::DI_NEEDRESTART | platform::DI_NEEDREBOOT);
  EXPECT_EQ(Run().status, 0);
}

TEST_F(RemoveCommand, FinishesAfterTheRestartThatItAskedFor) {
  Root().temper.removeNeedsRestart = true;
  Root().temper.removeKeepsNodeUntilRestart = true;
  EXPECT_EQ(Run().status, 10);
  Reboot(machine);
  EXPECT_TRUE(InstalledRootIds(machine).empty());
  const RunResult result = Run();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(ConsoleOf(result).back(), OkLine(0, 1, 20));
}

}  // namespace
}  // namespace vorn

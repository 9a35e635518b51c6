#include "base/text.h"
#include "platform/config_manager.h"
#include "platform/device_setup.h"
#include "platform/native.h"
#include "platform/registry.h"
#include "platform/simulated/endpoint_builder.h"
#include "removal_world.h"
#include "tests/support/device_world.h"

#include <gtest/gtest.h>

namespace vorn {
namespace {

using namespace platform::simulated;
using namespace tests;

using Lines = std::vector<std::string>;

constexpr char kQuiesced[] = "err: vorn_devnode: quiesced all endpoints of ROOT\\MEDIA\\0000";
constexpr char kLetGo[] = "err: vorn_devnode: query-remove succeeded on attempt 1 after 0 ms";
constexpr char kPackageRemoved[] =
    "out: vorn_devnode: removed authenticated driver package oem3.inf";
constexpr char kRefused[] =
    "err: vorn_devnode: RESULT=REMOVE_FAILED - expected INF could not be authenticated; no device "
    "was touched";
constexpr char kBusy[] =
    "err: vorn_devnode: RESULT=REMOVE_BUSY - the device is still held after 10 s; nothing was "
    "removed and no restart scheduled";
constexpr char kPendingRestart[] =
    "out: vorn_devnode: RESULT=REBOOT_REQUIRED - removal is pending restart";
constexpr char kResidue[] =
    "err: vorn_devnode: RESULT=REMOVE_FAILED - device roots are absent but exact driver-package "
    "cleanup could not be proven; residue retained";

std::string Partial(int roots) {
  return "err: vorn_devnode: RESULT=REMOVE_FAILED - partial or unverifiable removal; installed "
         "roots=" +
         std::to_string(roots);
}

std::string Remain(const std::string& code, int roots) {
  return "err: vorn_devnode: RESULT=" + code + " - " + std::to_string(roots) +
         " installed root(s) remain after removal";
}

Lines operator+(Lines left, const Lines& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

class RemoveCommand : public ::testing::Test {
 protected:
  /// Runs the command and looks at what must hold for every run.
  RunResult Run(std::vector<Fault> faults = {}, const std::u16string& infPath = kInfArgument) {
    // 2026-03-04 05:06:07.089 UTC
    machine.clock.utcAtTickZero = 1'772'600'767'089 - machine.clock.tick;
    before = machine;
    RunOptions options;
    options.faults = std::move(faults);
    options.token = token;
    RunResult result = Remove(machine, options, infPath);
    EXPECT_EQ(BrokenPromises(before, machine), Lines{});
    EXPECT_TRUE(result.openObjects.empty());
    EXPECT_TRUE(ListFolder(machine.files, machine.files.tempFolder).empty());
    return result;
  }

  Device& Root(std::u16string_view id = kRootId) { return *machine.devices.Find(id); }

  /// The records as well as the packages are what they were.
  void ExpectNothingCleaned() const {
    EXPECT_EQ(machine.store, before.store);
    EXPECT_EQ(MarkedRecords(machine), MarkedRecords(before));
  }

  std::uint64_t Took() const { return machine.clock.tick - before.clock.tick; }

  Machine machine = InstalledMachine();
  Machine before;
  Token token;
};

/// How many endpoints the driver was asked to show: the requests under the second lease.
std::size_t Shown(const RunResult& result) {
  std::size_t shown = 0;
  std::size_t leases = 0;
  for (const CallRecord& call : result.CallsOf("DeviceIoControl")) {
    const std::string code = call.Argument("controlCode");
    if (code == "0x226000") ++leases;
    if (code == "0x22A01C" && leases == 2) ++shown;
  }
  return shown;
}

Fault Failing(std::string_view call, std::uint32_t error, std::uint32_t nth = 1) {
  return FailingCall(call, error, nth);
}

// ------------------------------------------------------------------------------------------------
// Success.

TEST_F(RemoveCommand, RemovesTheDeviceItsPackageAndItsRecords) {
  const RunResult result = Run();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(MarkedRecords(before).size(), 20U);
  EXPECT_EQ(Transcript(result),
            (Lines{kQuiesced, kLetGo, kPackageRemoved} + RemovedRecordLines(MarkedRecords(before)) +
             Lines{OkLine(1, 1, 20)}));
  EXPECT_TRUE(InstalledRoots(machine).empty());
  EXPECT_TRUE(MarkedRecords(machine).empty());
  EXPECT_EQ(machine.store.Find(u"oem3.inf"), nullptr);
  EXPECT_EQ(Took(), 0U) << "nothing had to be waited for";
}

TEST_F(RemoveCommand, LogsWhatItDidWithTheTimeInUtcAndNotItsSuccess) {
  Root().temper.vetoes = 2;
  Root().temper.vetoName = u"player \u266b";
  EXPECT_EQ(Run().status, 0);
  EXPECT_EQ(RemovalLogText(machine),
            "[2026-03-04 05:06:07.089] remove: quiesced all endpoints of ROOT\\MEDIA\\0000\r\n"
            "[2026-03-04 05:06:07.089] remove: query-remove attempt 1: CONFIGRET 23, veto type 6 "
            "by 'player \xE2\x99\xAB'\r\n"
            "[2026-03-04 05:06:07.589] remove: query-remove succeeded on attempt 3 after 500 "
            "ms\r\n");
}

TEST_F(RemoveCommand, SucceedsWhereNothingIsInstalled) {
  machine = CleanMachine();
  const RunResult result = Run();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(Transcript(result), Lines{OkLine(0, 0, 0)});
  EXPECT_EQ(RemovalLogText(machine), "no file");
  EXPECT_FALSE(result.Called("Sleep"));
  EXPECT_FALSE(result.Called("CM_Query_And_Remove_SubTreeW"));
}

TEST_F(RemoveCommand, RemovesEveryRootOfAMachineWithSeveral) {
  machine = DuplicatesMachine();
  const RunResult result = Run();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(Transcript(result),
            (Lines{kPackageRemoved} + RemovedRecordLines(MarkedRecords(before)) +
             Lines{OkLine(3, 1, 20)}));
  EXPECT_TRUE(InstalledRoots(machine).empty());
  EXPECT_FALSE(result.Called("DeviceIoControl")) << "no single live root to quiesce";
  EXPECT_FALSE(result.Called("CM_Query_And_Remove_SubTreeW"));
}

TEST_F(RemoveCommand, RemovesARootThatIsNotStartedWithoutAskingIt) {
  machine = DisabledMachine();
  const RunResult result = Run();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(Transcript(result).back(), OkLine(1, 1, 20));
  EXPECT_FALSE(result.Called("DeviceIoControl"));
  EXPECT_FALSE(result.Called("CM_Query_And_Remove_SubTreeW"));
}

TEST_F(RemoveCommand, RemovesAGhost) {
  Root().present = false;
  const RunResult result = Run();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(Transcript(result).back(), OkLine(1, 1, 20));
  EXPECT_FALSE(result.Called("DeviceIoControl"));
}

TEST_F(RemoveCommand, FindsItsRootsByAnyOfTheirHardwareIdsInAnyCase) {
  Device& other = AddRoot(machine, u"ROOT\\MEDIA\\0007");
  other.hardwareIds = {u"Root\\First", u"ROOT\\VORNaudio"};
  Device& longer = AddRoot(machine, u"ROOT\\MEDIA\\0008");
  longer.hardwareIds = {u"Root\\VornAudio2"};
  longer.foreign = true;
  const RunResult result = Run();
  EXPECT_EQ(Transcript(result).back(), OkLine(2, 1, 20));
  EXPECT_NE(machine.devices.Find(u"ROOT\\MEDIA\\0008"), nullptr);
}

TEST_F(RemoveCommand, TakesTheCommandInAnyCaseAndOneArgument) {
  Machine first = machine;
  EXPECT_EQ(RunCommand(first, {u"REMOVE", kInfArgument}).status, 0);
  const RunResult extra = RunCommand(machine, {u"remove", kInfArgument, u"more"});
  EXPECT_EQ(extra.status, 1);
  EXPECT_EQ(InstalledRoots(machine).size(), 1U);
}

TEST_F(RemoveCommand, RemovesWithParametersForAllHardwareProfiles) {
  const RunResult result = Run();
  const auto set = result.CallsOf("SetupDiSetClassInstallParamsW");
  ASSERT_EQ(set.size(), 1U);
  EXPECT_EQ(set[0].Argument("ClassInstallParamsSize"), "16");
  const auto called = result.CallsOf("SetupDiCallClassInstaller");
  ASSERT_EQ(called.size(), 1U);
  EXPECT_EQ(called[0].Argument("InstallFunction"), "0x5");
}

// ------------------------------------------------------------------------------------------------
// Refusal.

TEST_F(RemoveCommand, TouchesNothingWithoutADriverVersion) {
  std::string text = InfText(PackageRecipe{});
  const std::size_t line = text.find("DriverVer");
  ASSERT_NE(line, std::string::npos);
  text.erase(line, text.find('\n', line) - line + 1);
  PutFile(machine.files, kInfArgument, text);
  const RunResult result = Run();
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(Transcript(result), Lines{kRefused});
  EXPECT_EQ(machine.files, before.files) << "not even a folder for the log";
  EXPECT_EQ(machine.devices, before.devices);
  EXPECT_EQ(machine.registry, before.registry);
  EXPECT_EQ(machine.store, before.store);
  EXPECT_FALSE(result.Called("SetupDiGetClassDevsW"));
  EXPECT_FALSE(result.Called("CreateDirectoryW"));
}

TEST_F(RemoveCommand, TouchesNothingWithThePackageOfSomebodyElse) {
  PackageRecipe recipe;
  recipe.providerName = u"VORN Audio GmbH";
  WritePackage(machine.files, u"C:\\pkg\\driver", recipe);
  const RunResult result = Run();
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(Transcript(result), Lines{kRefused});
  EXPECT_EQ(machine.devices, before.devices);
}

TEST_F(RemoveCommand, TouchesNothingWithoutASnapshot) {
  for (const std::u16string path : {u"C:\\pkg\\driver\\missing.inf", u"vorn_audio.inf"}) {
    const RunResult result = Run({}, path);
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(Transcript(result).size(), 1U);
    EXPECT_EQ(machine.devices, before.devices);
    EXPECT_EQ(machine.files, before.files);
  }
}

// ------------------------------------------------------------------------------------------------
// Quiesce and query-remove.

TEST_F(RemoveCommand, GoesOnWhenTheEndpointsCannotBeQuiesced) {
  const RunResult result = Run({Failing("DeviceIoControl", 5)});
  EXPECT_EQ(result.status, 0);
  const Lines lines = Transcript(result);
  ASSERT_GE(lines.size(), 3U);
  EXPECT_EQ(lines[0],
            "err: vorn_devnode: driver quiesce could not acquire the controller lease (error "
            "0x00000005)");
  EXPECT_EQ(lines[1],
            "err: vorn_devnode: endpoints could not all be quiesced before removal; trying the "
            "removal anyway");
  EXPECT_EQ(lines[2], kLetGo);
  EXPECT_EQ(lines.back(), OkLine(1, 1, 20));
  EXPECT_NE(RemovalLogText(machine).find("remove: endpoints could not all be quiesced before "
                                         "removal; trying the removal anyway\r\n"),
            std::string::npos);
}

TEST_F(RemoveCommand, GivesUpOnADeviceThatIsHeld) {
  Root().temper.vetoUntil = machine.clock.tick + 60'000;
  Root().temper.vetoType = 5;
  Root().temper.vetoName = u"\\Device\\HarddiskVolume3\\player.exe";
  const RunResult result = Run();
  EXPECT_EQ(result.status, 17);
  const std::string veto = ": CONFIGRET 23, veto type 5 by '\\Device\\HarddiskVolume3\\player.exe'";
  EXPECT_EQ(Transcript(result),
            (Lines{kQuiesced, "err: vorn_devnode: query-remove attempt 1" + veto,
                   "err: vorn_devnode: query-remove attempt 41" + veto, kBusy}));
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

TEST_F(RemoveCommand, GoesOnAfterAVetoThatEnds) {
  Root().temper.vetoUntil = machine.clock.tick + 9'900;
  const RunResult result = Run();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(Transcript(result)[2],
            "err: vorn_devnode: query-remove succeeded on attempt 41 after 10000 ms");
}

TEST_F(RemoveCommand, LeavesOtherRefusalsToTheRemovalItself) {
  Root().temper.queryRemoveResult = platform::CR_ACCESS_DENIED;
  const RunResult result = Run();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(Transcript(result)[1],
            "err: vorn_devnode: query-remove attempt 1: CONFIGRET 51, veto type 0 by ''");
  EXPECT_EQ(Transcript(result).back(), OkLine(1, 1, 20));
  EXPECT_EQ(Shown(result), 0U) << "the device is gone";
}

// ------------------------------------------------------------------------------------------------
// DIF_REMOVE and the count.

TEST_F(RemoveCommand, FailsWithoutAListOfRoots) {
  machine = DuplicatesMachine();
  const RunResult result = Run({Failing("SetupDiGetClassDevsW", 8, 2)});
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(Transcript(result),
            Lines{"err: vorn_devnode: SetupDiGetClassDevs failed (error 0x00000008)"});
  EXPECT_EQ(RemovalLogText(machine), "no file");
  EXPECT_EQ(machine.devices, before.devices);
  ExpectNothingCleaned();
}

TEST_F(RemoveCommand, ShowsTheEndpointsAgainWithoutAListOfRoots) {
  Root().temper.queryRemoveResult = platform::CR_ACCESS_DENIED;
  const RunResult result = Run({Failing("SetupDiGetClassDevsW", 8, 3)});
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(Transcript(result).back(),
            "err: vorn_devnode: SetupDiGetClassDevs failed (error 0x00000008)");
  EXPECT_EQ(Shown(result), 20U);
  EXPECT_TRUE(Root().hidden.empty());
}

TEST_F(RemoveCommand, SaysThatTheEndpointsOfADeviceThatLetGoCannotBeShown) {
  const RunResult result = Run({Failing("SetupDiGetClassDevsW", 8, 3)});
  EXPECT_EQ(result.status, 3);
  const Lines lines = Transcript(result);
  ASSERT_EQ(lines.size(), 4U);
  EXPECT_EQ(lines[2], "err: vorn_devnode: SetupDiGetClassDevs failed (error 0x00000008)");
  EXPECT_TRUE(lines[3].starts_with("err: vorn_devnode: driver quiesce could not open the device: "))
      << lines[3];
}

TEST_F(RemoveCommand, FailsWhenARootCannotBeRemoved) {
  machine = DuplicatesMachine();
  Root(u"ROOT\\MEDIA\\0002").temper.removeError = 0xE0000203;
  const RunResult result = Run();
  EXPECT_EQ(result.status, 13);
  EXPECT_EQ(Transcript(result),
            (Lines{"err: vorn_devnode: SetupDiCallClassInstaller(DIF_REMOVE) failed (error "
                   "0xE0000203)",
                   Partial(1)}));
  EXPECT_EQ(InstalledRoots(machine), std::vector<std::u16string>{u"ROOT\\MEDIA\\0002"});
  EXPECT_EQ(RemovalLogText(machine),
            "[2026-03-04 05:06:37.089] remove: RESULT=REMOVE_FAILED - partial or unverifiable "
            "removal; installed roots=1\r\n");
  ExpectNothingCleaned();
  EXPECT_EQ(Took(), 30'000U);
}

TEST_F(RemoveCommand, GoesOnToTheNextRootWhenTheFirstFails) {
  machine = DuplicatesMachine();
  const RunResult result = Run({Failing("SetupDiSetClassInstallParamsW", 0xE0000225)});
  EXPECT_EQ(result.status, 13);
  EXPECT_EQ(Transcript(result),
            (Lines{"err: vorn_devnode: SetupDiSetClassInstallParams(DIF_REMOVE) failed (error "
                   "0xE0000225)",
                   Partial(1)}));
  EXPECT_EQ(InstalledRoots(machine), std::vector<std::u16string>{kRootId});
  EXPECT_EQ(result.CallsOf("SetupDiCallClassInstaller").size(), 2U);
}

TEST_F(RemoveCommand, FailsAfterAFailedRemovalEvenWithNoRootLeft) {
  Fault fault = Failing("SetupDiCallClassInstaller", 31);
  fault.kind = FaultKind::FailAfterEffect;
  const RunResult result = Run({fault});
  EXPECT_EQ(result.status, 13);
  const Lines lines = Transcript(result);
  ASSERT_GE(lines.size(), 4U);
  EXPECT_EQ(lines[2],
            "err: vorn_devnode: SetupDiCallClassInstaller(DIF_REMOVE) failed (error 0x0000001F)");
  EXPECT_EQ(lines[3], Partial(0));
  EXPECT_TRUE(InstalledRoots(machine).empty());
  ExpectNothingCleaned();
}

TEST_F(RemoveCommand, FailsAfterAFailedRemovalEvenIfARestartIsNeeded) {
  machine = DuplicatesMachine();
  Root(kRootId).temper.removeNeedsRestart = true;
  Root(u"ROOT\\MEDIA\\0002").temper.removeError = 5;
  const RunResult result = Run();
  EXPECT_EQ(result.status, 13);
  EXPECT_EQ(Transcript(result).back(), Partial(1));
}

TEST_F(RemoveCommand, ShowsTheEndpointsAgainAfterAFailedRemoval) {
  Root().temper.queryRemoveResult = platform::CR_ACCESS_DENIED;
  Root().temper.removeError = 5;
  const RunResult result = Run();
  EXPECT_EQ(result.status, 13);
  EXPECT_EQ(Transcript(result).back(), Partial(1));
  EXPECT_EQ(Shown(result), 20U);
  EXPECT_TRUE(Root().hidden.empty());
}

TEST_F(RemoveCommand, FailsWhenTheRootsCannotAllBeSeen) {
  machine = DuplicatesMachine();
  std::uint32_t enumerated = 0;
  {
    // The second list of the run is the one that is removed by.
    Machine copy = machine;
    const RunResult whole = Remove(copy);
    bool second = false;
    std::size_t lists = 0;
    for (const CallRecord& call : whole.calls) {
      if (call.name == "SetupDiGetClassDevsW") second = ++lists == 2;
      if (lists > 2) break;
      if (call.name == "SetupDiEnumDeviceInfo") ++enumerated;
    }
    EXPECT_FALSE(second);
  }
  const RunResult result = Run({Failing("SetupDiEnumDeviceInfo", 13, enumerated)});
  EXPECT_EQ(result.status, 13);
  EXPECT_EQ(Transcript(result), Lines{Partial(0)});
  EXPECT_TRUE(InstalledRoots(machine).empty());
  ExpectNothingCleaned();
}

TEST_F(RemoveCommand, FailsWhenTheRootsCannotBeCounted) {
  Fault fault = Failing("SetupDiGetClassDevsW", 8, 4);
  fault.last = kEveryLaterCall;
  const RunResult result = Run({fault});
  EXPECT_EQ(result.status, 13);
  EXPECT_EQ(Transcript(result)[2], Partial(-1));
  EXPECT_EQ(Took(), 30'000U);
  ExpectNothingCleaned();
}

TEST_F(RemoveCommand, CountsAgainAfterACountThatFailed) {
  const RunResult result = Run({Failing("SetupDiGetClassDevsW", 8, 4)});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(Took(), 500U);
}

TEST_F(RemoveCommand, IgnoresInstallParametersThatCannotBeRead) {
  Root().temper.removeNeedsRestart = true;
  const RunResult result = Run({Failing("SetupDiGetDeviceInstallParamsW", 13)});
  EXPECT_EQ(result.status, 0);
}

// ------------------------------------------------------------------------------------------------
// The wait and the restart.

TEST_F(RemoveCommand, WaitsForADeviceThatTakesItsTime) {
  Root().temper.removeDelay = 20'000;
  const RunResult result = Run();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(Transcript(result).back(), OkLine(1, 1, 20));
  EXPECT_EQ(Took(), 20'000U);
  const auto sleeps = result.CallsOf("Sleep");
  EXPECT_EQ(sleeps.size(), 40U);
  for (const CallRecord& sleep : sleeps)
    EXPECT_EQ(sleep.Argument("milliseconds"), "500");
}

TEST_F(RemoveCommand, DoesNotLookAgainWhenTheTimeIsUp) {
  // The device is gone with the last sleep, but the last count was before it.
  Root().temper.removeDelay = 30'000;
  const RunResult result = Run();
  EXPECT_EQ(result.status, 13);
  EXPECT_EQ(Transcript(result)[2], Remain("REMOVE_FAILED", 1));
}

TEST_F(RemoveCommand, FailsWhenARootRemains) {
  Root().temper.removeDelay = 40'000;
  const RunResult result = Run();
  EXPECT_EQ(result.status, 13);
  EXPECT_EQ(Transcript(result)[2], Remain("REMOVE_FAILED", 1));
  EXPECT_NE(RemovalLogText(machine).find(
                "[2026-03-04 05:06:37.089] remove: RESULT=REMOVE_FAILED - 1 installed root(s) "
                "remain after removal\r\n"),
            std::string::npos);
  EXPECT_EQ(Took(), 30'000U);
  ExpectNothingCleaned();
}

TEST_F(RemoveCommand, AsksForARestartThatARemainingRootWaitsFor) {
  Root().temper.removeNeedsRestart = true;
  Root().temper.removeKeepsNodeUntilRestart = true;
  Root().temper.queryRemoveResult = platform::CR_ACCESS_DENIED;
  const RunResult result = Run();
  EXPECT_EQ(result.status, 10);
  EXPECT_EQ(Transcript(result).back(), Remain("REBOOT_REQUIRED", 1));
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
  EXPECT_EQ(Transcript(result)[2], kPendingRestart);
  EXPECT_EQ(RemovalLogText(machine).find("RESULT"), std::string::npos) << "not logged";
  EXPECT_TRUE(InstalledRoots(machine).empty());
  ExpectNothingCleaned();
}

TEST_F(RemoveCommand, TakesEitherFlagForTheNeedOfARestart) {
  for (const std::uint32_t flag : {platform::DI_NEEDRESTART, platform::DI_NEEDREBOOT}) {
    machine = DuplicatesMachine();
    Root(u"ROOT\\MEDIA\\0001").installFlags = flag;
    const RunResult result = Run();
    EXPECT_EQ(result.status, 10);
    EXPECT_EQ(Transcript(result), Lines{kPendingRestart});
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
  EXPECT_TRUE(InstalledRoots(machine).empty());
  const RunResult result = Run();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(Transcript(result).back(), OkLine(0, 1, 20));
}

// ------------------------------------------------------------------------------------------------
// Packages.

TEST_F(RemoveCommand, RemovesEveryCopyInTheOrderOfItsName) {
  CopyPackage(machine, u"oem3.inf", u"oem12.inf");
  const RunResult result = Run();
  EXPECT_EQ(result.status, 0);
  const Lines lines = Transcript(result);
  EXPECT_EQ(lines[2], "out: vorn_devnode: removed authenticated driver package oem12.inf");
  EXPECT_EQ(lines[3], kPackageRemoved);
  EXPECT_EQ(lines.back(), OkLine(1, 2, 20));
}

TEST_F(RemoveCommand, KeepsEveryCopyForOneThatIsDoubtful) {
  CopyPackage(machine, u"oem3.inf", u"oem12.inf");
  machine.store.Find(u"oem3.inf")->originalCatalog = u"other.cat";
  const RunResult result = Run();
  EXPECT_EQ(result.status, 13);
  EXPECT_EQ(Transcript(result),
            (Lines{kQuiesced, kLetGo,
                   "err: vorn_devnode: exact-hash package oem3.inf changed or failed structured "
                   "identity validation; retaining all remaining packages",
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
  EXPECT_EQ(Transcript(result).back(), OkLine(1, 0, 20));
  EXPECT_EQ(machine.store, before.store);
}

TEST_F(RemoveCommand, DoesNotCountAPackageThatVanishes) {
  const RunResult result = Run({ChangeBefore("SetupUninstallOEMInfW", 1, [](Machine& world) {
    UninstallPackage(world, u"oem3.inf", SUOI_FORCEDELETE);
  })});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(Transcript(result).back(), OkLine(1, 0, 20));
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
  EXPECT_EQ(Transcript(result),
            (Lines{kQuiesced, kLetGo,
                   "err: vorn_devnode: SetupUninstallOEMInf(exact VORN package) failed (error "
                   "0xE000023D)",
                   kResidue}));
  ExpectNothingCleaned();
}

TEST_F(RemoveCommand, StopsAtThePackageThatCannotBeUninstalled) {
  CopyPackage(machine, u"oem3.inf", u"oem12.inf");
  machine.store.Find(u"oem12.inf")->uninstallError = 5;
  const RunResult result = Run();
  EXPECT_EQ(result.status, 13);
  EXPECT_EQ(result.CallsOf("SetupUninstallOEMInfW").size(), 1U);
  EXPECT_EQ(Transcript(result).back(), kResidue);
  ExpectNothingCleaned();
}

// ------------------------------------------------------------------------------------------------
// Endpoint records.

class RemoveCommandRecords : public RemoveCommand {
 protected:
  /// The path of the nth marked record.
  std::u16string RecordPath(std::size_t nth) const {
    return kEndpointRecordsPath + (u"\\" + ToUtf16(MarkedRecords(machine)[nth]));
  }
  Key& KeyAt(const std::u16string& path) {
    return machine.registry.keys.at(*FindKey(machine.registry, path));
  }
};

TEST_F(RemoveCommandRecords, AreReportedInTheirOrderAndChangeNoResult) {
  const Lines records = MarkedRecords(machine);
  KeyAt(RecordPath(1)).deleteStatus = platform::STATUS_INSUFFICIENT_RESOURCES;
  KeyAt(RecordPath(3)).deleteStatus = platform::STATUS_ACCESS_DENIED;
  KeyAt(RecordPath(0) + u"\\Properties").openError = 5;
  KeyAt(RecordPath(2) + u"\\Properties").openError = 1450;
  KeyAt(kEndpointRecordsPath + std::u16string(u"\\Capture")).openError = 5;
  const RunResult result = Run();
  EXPECT_EQ(result.status, 0);
  Lines expected = {kQuiesced, kLetGo, kPackageRemoved};
  for (std::size_t i = 4; i < 10; ++i)
    expected.push_back("out: vorn_devnode: removed VORN endpoint record " + records[i]);
  const std::string retained = " could not be removed and remains as Windows endpoint history";
  expected.push_back("err: vorn_devnode: WARNING - VORN endpoint record " + records[1] +
                     " (error 0x000005AA)" + retained);
  expected.push_back("err: vorn_devnode: WARNING - VORN endpoint record " + records[3] +
                     " (error 0x00000005)" + retained);
  for (const std::size_t i : {0U, 2U}) {
    expected.push_back("err: vorn_devnode: WARNING - endpoint record " + records[i] +
                       " could not be read, so its owner is unknown; left untouched");
  }
  expected.push_back(
      "err: vorn_devnode: WARNING - the MMDevices endpoint records could not all be listed; VORN "
      "endpoint history may remain");
  expected.push_back(OkLine(1, 1, 6, 2));
  EXPECT_EQ(Transcript(result), expected);
}

TEST_F(RemoveCommandRecords, AreAllRetainedWithoutThePrivileges) {
  token.holdsBackup = false;
  token.holdsRestore = false;
  const RunResult result = Run();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(Transcript(result).back(), OkLine(1, 1, 0, 20));
  EXPECT_EQ(MarkedRecords(machine).size(), 20U);
}

TEST_F(RemoveCommandRecords, ThatStayActiveAreWaitedForAndDeleted) {
  machine.audio.recordsStayActive = true;
  const RunResult result = Run({Failing("DeviceIoControl", 5)});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(Transcript(result).back(), OkLine(1, 1, 20));
  EXPECT_EQ(Took(), 10'000U);
  EXPECT_TRUE(MarkedRecords(machine).empty());
}

TEST_F(RemoveCommandRecords, ThatGoIdleLateAreWaitedFor) {
  machine.audio.recordDelay = 3'000;
  const RunResult result = Run({Failing("DeviceIoControl", 5)});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(Transcript(result).back(), OkLine(1, 1, 20));
  EXPECT_EQ(Took(), 3'000U);
}

TEST_F(RemoveCommandRecords, WithAnotherMarkerStay) {
  PutDword(machine.registry, RecordPath(0) + u"\\Properties", kCableMarkerName, 10);
  PutValue(machine.registry, RecordPath(1) + u"\\Properties", kCableMarkerName, platform::REG_QWORD,
           {1, 0, 0, 0, 0, 0, 0, 0});
  PutString(machine.registry, RecordPath(2) + u"\\Properties", kCableMarkerName, u"1");
  const RunResult result = Run();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(Transcript(result).back(), OkLine(1, 1, 17));
}

// ------------------------------------------------------------------------------------------------
// Where the log goes.

TEST_F(RemoveCommand, LogsBesideTheFolderOfTheInfOnItsOwnDrive) {
  AddVolume(machine.files, u'D', u"\\Device\\HarddiskVolume4",
            u"5a17c0de-0000-4000-8000-000000000004");
  WritePackage(machine.files, u"D:\\driver", PackageRecipe{});
  EXPECT_EQ(Run({}, u"D:\\driver\\vorn_audio.inf").status, 0);
  EXPECT_EQ(ListFolder(machine.files, u"D:\\logs"),
            std::vector<std::u16string>{u"vorn_devnode.log"});
}

TEST_F(RemoveCommand, HasNoLogFileForAnInfInTheRootOfADrive) {
  AddVolume(machine.files, u'D', u"\\Device\\HarddiskVolume4",
            u"5a17c0de-0000-4000-8000-000000000004");
  WritePackage(machine.files, u"D:\\", PackageRecipe{});
  const RunResult result = Run({}, u"D:\\vorn_audio.inf");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(Transcript(result)[0], kQuiesced);
  EXPECT_FALSE(result.Called("_wfsopen"));
  EXPECT_EQ(ListFolder(machine.files, u"D:\\"), ListFolder(before.files, u"D:\\"));
}

TEST_F(RemoveCommand, HoldsTheFoldersOfItsLogWhileItRuns) {
  bool asked = false;
  const RunResult result =
      Run({ChangeBefore("SetupDiCallClassInstaller", 1, [&asked](Machine& world) {
        asked = true;
        for (const auto path : {u"C:\\pkg", u"C:\\pkg\\logs"}) {
          const NodeId folder = *FindNode(world.files, path);
          bool held = false;
          for (const auto& [key, open] : world.files.opens)
            held |= key.node == folder && !open.foreign && open.share == 1;
          EXPECT_TRUE(held) << ToUtf8(path);
        }
      })});
  EXPECT_EQ(result.status, 0);
  EXPECT_TRUE(asked);
  EXPECT_EQ(CountOwnOpens(machine.files), 0U);
}

TEST_F(RemoveCommand, DoesNotFailForItsLog) {
  MakeFolder(machine.files, u"C:\\elsewhere");
  PutLink(machine.files, u"C:\\pkg\\logs", ReparseKind::Junction, u"C:\\elsewhere", true);
  const RunResult result = Run();
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(Transcript(result)[0], kQuiesced);
  EXPECT_TRUE(ListFolder(machine.files, u"C:\\elsewhere").empty());
}

}  // namespace
}  // namespace vorn

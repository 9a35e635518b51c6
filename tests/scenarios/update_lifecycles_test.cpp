// Lifecycles of a machine: installed, updated, rolled back, restarted, crashed.

#include "tests/scenarios/lifecycle.h"
#include "tests/support/machine_view.h"
#include "tests/support/world.h"

#include <gtest/gtest.h>

namespace vorn {
namespace {

using platform::simulated::DisabledMachine;
using platform::simulated::DriverImage;
using platform::simulated::DuplicatesMachine;
using platform::simulated::EnableDevice;
using platform::simulated::Fault;
using platform::simulated::FaultKind;
using platform::simulated::Machine;
using tests::Console;
using tests::ConsoleOf;
using tests::EndpointIds;
using tests::Err;
using tests::ExpectRun;
using tests::kFirst;
using tests::kFirstInf;
using tests::kRootId;
using tests::kSampleInf;
using tests::kSampleJournal;
using tests::kSecond;
using tests::kSecondInf;
using tests::kThird;
using tests::kThirdInf;
using tests::Lifecycle;
using tests::MachineWithPackages;
using tests::Out;
using tests::Picture;
using tests::ProvenVersion;
using tests::RunResult;

const auto kPersisted = Out("vorn_devnode: persisted protected pre-bind activation state");
const auto kInstalled = Out("vorn_devnode: Root\\VornAudio installed");
const auto kUpdated = Out("vorn_devnode: Root\\VornAudio driver updated on existing devnode");
const auto kRestarted = Out("vorn_devnode: VORN root hot-restart preflight passed");

tests::ConsoleLine Retired(const std::string& version) {
  return Out("vorn_devnode: retained activation state matches the live driver (" + version +
             "); retiring it and continuing");
}

tests::ConsoleLine Blocked(int readable, int verify) {
  return Err(
      "vorn_devnode: protected activation state exists and does not match the live driver "
      "(readable=" +
      std::to_string(readable) + ", verify=" + std::to_string(verify) +
      "); recover or roll it back before another bind");
}

Fault KillBefore(std::string call, std::uint32_t nth = 1) {
  Fault fault;
  fault.call = std::move(call);
  fault.first = fault.last = nth;
  fault.kind = FaultKind::KillBefore;
  return fault;
}

Fault KillAfter(std::string call, std::uint32_t nth = 1) {
  Fault fault = KillBefore(std::move(call), nth);
  fault.kind = FaultKind::KillAfter;
  return fault;
}

TEST(Lifecycle, AFailedThirdVersionIsRolledBackToTheSecond) {
  Lifecycle life(MachineWithPackages(nullptr, [](DriverImage& image) { image.lifecycleAbi = 2; }));

  ExpectRun(life.Install(kFirstInf), kExitOk,
            {kPersisted, kInstalled, ProvenVersion(kFirst, "oem3.inf")});
  EXPECT_EQ(life.Now(), (Picture{kFirst, kFirst, kFirst, 20}));
  const auto ids = EndpointIds(life.TheMachine());

  ExpectRun(life.Install(kSecondInf), kExitOk,
            {ProvenVersion(kFirst, "oem3.inf"), Retired(kFirst), kPersisted, kUpdated,
             ProvenVersion(kSecond, "oem4.inf")});
  EXPECT_EQ(life.Now(), (Picture{kSecond, kSecond, kSecond, 20}));
  EXPECT_EQ(EndpointIds(life.TheMachine()), ids);

  const RunResult third = life.Install(kThirdInf);
  EXPECT_EQ(third.status, kExitEndpointsMissing);
  EXPECT_EQ(life.Now(), (Picture{"none", kThird, kThird, 20}));

  ExpectRun(life.Rollback(kSecondInf), kExitOk,
            {kPersisted, kUpdated, ProvenVersion(kSecond, "oem4.inf")});
  EXPECT_EQ(life.Now(), (Picture{kSecond, kSecond, kSecond, 20}));
  EXPECT_EQ(EndpointIds(life.TheMachine()), ids);

  ExpectRun(life.Verify(u"26.8.11.2", u"08/20/2026"), kExitOk,
            {ProvenVersion(kSecond, "oem4.inf")});
}

TEST(Lifecycle, ASecondInstallOfTheSamePackageRetiresTheJournalAndLeavesTheDeviceAlone) {
  Lifecycle life(MachineWithPackages());
  life.Install(kFirstInf);
  const auto proven = ProvenVersion(kFirst, "oem3.inf");
  for (int again = 0; again < 2; ++again) {
    ExpectRun(life.Install(kFirstInf), kExitOk,
              {proven, Retired(kFirst), kPersisted,
               Out("vorn_devnode: Root\\VornAudio already runs the target package; device left "
                   "untouched"),
               proven});
    EXPECT_EQ(life.Now(), (Picture{kFirst, kFirst, kFirst, 20}));
  }
}

TEST(Lifecycle, ADeferredUpdateIsRolledBackAndStaysSoAfterTheRestart) {
  Lifecycle life(MachineWithPackages([](DriverImage& image) { image.needsRestart = true; }));
  life.Install(kFirstInf);

  ExpectRun(life.Install(kSecondInf), kExitHotSwapFailed,
            {ProvenVersion(kFirst, "oem3.inf"), Retired(kFirst), kPersisted,
             Err("vorn_devnode: RESULT=HOT_SWAP_FAILED - Windows deferred the driver switch to a "
                 "restart; previous package selection restored; rolling back")});
  EXPECT_EQ(life.Now().journal, "none");
  EXPECT_EQ(life.Now().bound, kFirst);
  EXPECT_EQ(life.Now().pending, "");

  life.Restart();
  EXPECT_EQ(life.Now(), (Picture{"none", kFirst, kFirst, 20}));
  EXPECT_EQ(life.Install(kFirstInf).status, kExitOk);
}

TEST(Lifecycle, ADeferredRollbackKeepsItsJournalAcrossTheRestartAndVerifies) {
  Lifecycle life(MachineWithPackages());
  life.Install(kFirstInf);
  life.Install(kSecondInf);
  life.DeleteJournal();  // the operator abandons the second version
  life.TheMachine().store.updateNeedsRestart = true;

  ExpectRun(life.Rollback(kFirstInf), kExitRebootRequired,
            {kPersisted,
             Err("vorn_devnode: RESULT=REBOOT_REQUIRED - rollback package selected; Windows loads "
                 "it at the next restart")});
  EXPECT_EQ(life.Now(), (Picture{kFirst, kFirst, kSecond, 20, "oem3.inf"}));
  // Before the restart the second version still runs, and verify says so.
  EXPECT_EQ(life.Verify(u"26.8.10.1", u"08/10/2026").status, kExitEndpointsMissing);

  life.Restart();
  EXPECT_EQ(life.Now(), (Picture{kFirst, kFirst, kFirst, 20}));
  ExpectRun(life.Verify(u"26.8.10.1", u"08/10/2026"), kExitOk, {ProvenVersion(kFirst, "oem3.inf")});
  EXPECT_EQ(life.Now().journal, kFirst);
}

TEST(Lifecycle, ADeferredFreshInstallIsRolledBackAcrossARestart) {
  Lifecycle life(MachineWithPackages());
  life.TheMachine().store.updateNeedsRestart = true;
  ExpectRun(
      life.Install(kFirstInf), kExitNotStarted,
      {kPersisted, kInstalled,
       Err("vorn_devnode: RESULT=NOT_STARTED - Windows requested a restart; candidate must be "
           "rolled back")});
  EXPECT_EQ(life.Now(), (Picture{"none", kFirst, "", 0, "oem3.inf"}));

  // The root exists now but never started, so its baseline has no endpoints.
  ExpectRun(life.Rollback(kFirstInf), kExitRebootRequired,
            {kPersisted,
             Err("vorn_devnode: RESULT=REBOOT_REQUIRED - rollback package selected; Windows loads "
                 "it at the next restart")});
  life.TheMachine().store.updateNeedsRestart = false;
  life.Restart();
  EXPECT_EQ(life.Now(), (Picture{kFirst, kFirst, kFirst, 20}));
  // The journal's baseline is empty, and the comparison with it is strict.
  EXPECT_EQ(life.Verify(u"26.8.10.1", u"08/10/2026").status, kExitEndpointsMissing);
}

// ------------------------------------------------------------------------------------------------
// Crashes.

TEST(Crash, BetweenJournalAndBindLeavesTheOldDriverAndAJournalThatBlocks) {
  Lifecycle life(MachineWithPackages());
  life.Install(kFirstInf);
  life.DeleteJournal();

  const RunResult crash =
      life.Install(kSecondInf, {.faults = {KillBefore("UpdateDriverForPlugAndPlayDevicesW")}});
  EXPECT_TRUE(crash.killed);
  EXPECT_EQ(life.Now(), (Picture{kSecond, kFirst, kFirst, 0}));  // hidden by the dead process

  // The operator then shows the endpoints and finds that the update did not happen.
  ExpectRun(life.Run({u"resume-endpoints"}), kExitOk,
            {Out("vorn_devnode: resume-endpoints: 20 shown, 0 failed")});
  EXPECT_EQ(life.Now(), (Picture{kSecond, kFirst, kFirst, 20}));
  EXPECT_EQ(life.Verify(u"26.8.11.2", u"08/20/2026").status, kExitEndpointsMissing);

  // While the journal of the candidate exists, nothing is bound, not even a rollback.
  for (const bool rollback : {false, true}) {
    const RunResult run = rollback ? life.Rollback(kFirstInf) : life.Install(kSecondInf);
    EXPECT_EQ(run.status, kExitActivationStateBlocks);
    EXPECT_EQ(ConsoleOf(run).back(), Blocked(1, 11));
    EXPECT_FALSE(run.Called("UpdateDriverForPlugAndPlayDevicesW"));
  }

  life.DeleteJournal();
  EXPECT_EQ(life.Install(kSecondInf).status, kExitOk);
  EXPECT_EQ(life.Now(), (Picture{kSecond, kSecond, kSecond, 20}));
}

TEST(Crash, RightAfterTheBindLeavesAJournalThatTheNextInstallRetires) {
  Lifecycle life(MachineWithPackages());
  life.Install(kFirstInf);
  life.DeleteJournal();
  EXPECT_TRUE(
      life.Install(kSecondInf, {.faults = {KillAfter("UpdateDriverForPlugAndPlayDevicesW")}})
          .killed);
  EXPECT_EQ(life.Now().journal, kSecond);
  EXPECT_EQ(life.Now().bound, kSecond);

  ExpectRun(life.Verify(u"26.8.11.2", u"08/20/2026"), kExitOk,
            {ProvenVersion(kSecond, "oem4.inf")});
  EXPECT_EQ(life.Now(), (Picture{kSecond, kSecond, kSecond, 20}));
  ExpectRun(life.Install(kSecondInf), kExitOk,
            {ProvenVersion(kSecond, "oem4.inf"), Retired(kSecond), kPersisted,
             Out("vorn_devnode: Root\\VornAudio already runs the target package; device left "
                 "untouched"),
             ProvenVersion(kSecond, "oem4.inf")});
}

TEST(Crash, OfAFreshInstallBeforeTheDeviceBlocksUntilTheJournalIsRecovered) {
  Lifecycle life(MachineWithPackages());
  EXPECT_TRUE(
      life.Install(kFirstInf, {.faults = {KillBefore("SetupDiCreateDeviceInfoList")}}).killed);
  EXPECT_EQ(life.Now(), (Picture{kFirst, "", "", 0}));

  const RunResult blocked = life.Install(kFirstInf);
  ExpectRun(blocked, kExitActivationStateBlocks,
            {Err("vorn_devnode: RESULT=NOT_STARTED - devnode did not reach DN_STARTED (problem=0)"),
             Blocked(1, 12)});
  life.DeleteJournal();
  EXPECT_EQ(life.Install(kFirstInf).status, kExitOk);
  EXPECT_EQ(life.Now(), (Picture{kFirst, kFirst, kFirst, 20}));
}

TEST(Crash, OfAFreshInstallBetweenDeviceAndBindIsRepairedByTwoInstalls) {
  Lifecycle life(MachineWithPackages());
  EXPECT_TRUE(
      life.Install(kFirstInf, {.faults = {KillBefore("UpdateDriverForPlugAndPlayDevicesW")}})
          .killed);
  EXPECT_EQ(life.Now(), (Picture{kFirst, "", "", 0}));
  EXPECT_EQ(tests::InstalledRootIds(life.TheMachine()).size(), 1U);
  life.DeleteJournal();

  // The device publishes endpoints that it did not have before, so the first verification fails and
  // reports that.
  EXPECT_EQ(life.Install(kFirstInf).status, kExitEndpointsMissing);
  EXPECT_EQ(life.Now(), (Picture{"none", kFirst, kFirst, 20}));
  EXPECT_EQ(life.Install(kFirstInf).status, kExitOk);
  EXPECT_EQ(life.Now(), (Picture{kFirst, kFirst, kFirst, 20}));
}

TEST(Crash, WhileTheJournalIsWrittenLeavesAMalformedOneThatBlocks) {
  Lifecycle life(MachineWithPackages());
  life.Install(kFirstInf);
  life.DeleteJournal();
  // Three writes copy files into the snapshot; the fourth writes the journal.
  EXPECT_TRUE(life.Install(kSecondInf, {.faults = {KillBefore("WriteFile", 4)}}).killed);
  EXPECT_EQ(life.Now(), (Picture{"unreadable", kFirst, kFirst, 20}));
  ExpectRun(life.Install(kSecondInf), kExitActivationStateBlocks, {Blocked(0, 12)});
}

TEST(Crash, LeavesASnapshotThatDoesNotAffectTheNextRun) {
  Lifecycle life(MachineWithPackages());
  EXPECT_TRUE(life.Install(kFirstInf, {.faults = {KillBefore("SetupOpenInfFileW")}}).killed);
  EXPECT_EQ(tests::SnapshotFolders(life.TheMachine()).size(), 1U);
  const Machine& machine = life.TheMachine();
  const auto left = tests::SnapshotFolders(machine);
  // A run deletes only its own snapshot.
  EXPECT_EQ(tests::RunCommand(life.TheMachine(), {u"install", kFirstInf, kSampleJournal}).status,
            kExitOk);
  EXPECT_EQ(tests::SnapshotFolders(machine), left);
}

// ------------------------------------------------------------------------------------------------
// Other machines.

TEST(Lifecycle, HotActivationVerifiesACandidateWhoseInstallerDied) {
  Lifecycle life(MachineWithPackages());
  life.Install(kFirstInf);
  life.DeleteJournal();
  EXPECT_TRUE(
      life.Install(kSecondInf, {.faults = {KillAfter("UpdateDriverForPlugAndPlayDevicesW")}})
          .killed);
  // The device is still starting. After a minute it can be restarted in place.
  EXPECT_EQ(life.Run({u"hot-activate", u"26.8.11.2", u"08/20/2026", kSampleJournal}).status,
            kExitHotSwapFailed);
  Advance(life.TheMachine(), 60'000);
  ExpectRun(life.Run({u"hot-activate", u"26.8.11.2", u"08/20/2026", kSampleJournal}), kExitOk,
            {kRestarted, ProvenVersion(kSecond, "oem4.inf")});
  EXPECT_EQ(life.Now(), (Picture{kSecond, kSecond, kSecond, 20}));
}

TEST(Lifecycle, EndpointsThatTheUserDisabledStayDisabledAcrossUpdates) {
  Lifecycle life(MachineWithPackages());
  life.Install(kFirstInf);
  tests::DisableEndpoint(life.TheMachine(), {0, 0});
  tests::DisableEndpoint(life.TheMachine(), {9, 1});
  life.DeleteJournal();
  ExpectRun(life.Install(kSecondInf), kExitOk,
            {kPersisted, kUpdated, ProvenVersion(kSecond, "oem4.inf", 18)});
  life.Restart();
  EXPECT_EQ(life.Now(), (Picture{kSecond, kSecond, kSecond, 18}));
  ExpectRun(life.Install(kThirdInf), kExitOk,
            {ProvenVersion(kSecond, "oem4.inf", 18), Retired(kSecond), kPersisted, kUpdated,
             ProvenVersion(kThird, "oem5.inf", 18)});
}

TEST(Lifecycle, ADisabledDeviceIsUpdatedOnceTheUserEnabledIt) {
  Lifecycle life(DisabledMachine());
  tests::AddNewPackage(life.TheMachine());
  EXPECT_EQ(life.Install(tests::kNewInf).status, kExitBindRefused);
  EnableDevice(life.TheMachine(), kRootId);
  Advance(life.TheMachine(), 60'000);
  EXPECT_EQ(life.Install(tests::kNewInf).status, kExitOk);
  EXPECT_EQ(life.Now(), (Picture{"26.8.11.0", "26.8.11.0", "26.8.11.0", 20}));
}

TEST(Lifecycle, DuplicatesArePrunedAndTheKeptDeviceUpdated) {
  Lifecycle life(DuplicatesMachine());
  tests::AddNewPackage(life.TheMachine());
  const RunResult run = life.Install(tests::kNewInf);
  EXPECT_EQ(run.status, kExitOk);
  EXPECT_EQ(ConsoleOf(run).front(),
            Out("vorn_devnode: removed 2 duplicate/ghost Root\\VornAudio devnode(s)"));
  EXPECT_EQ(tests::InstalledRootIds(life.TheMachine()).size(), 1U);
  EXPECT_EQ(life.Now(), (Picture{"26.8.11.0", "26.8.11.0", "26.8.11.0", 20}));
}

TEST(Lifecycle, ARemovalAndANewInstallStartFromNothing) {
  Lifecycle life(MachineWithPackages());
  life.Install(kFirstInf);
  const auto ids = EndpointIds(life.TheMachine());
  EXPECT_EQ(life.Run({u"remove", kFirstInf}).status, kExitOk);
  EXPECT_EQ(life.Now(), (Picture{kFirst, "", "", 0}));  // a removal leaves the journal alone
  EXPECT_EQ(tests::InstalledRootIds(life.TheMachine()).size(), 0U);
  life.DeleteJournal();
  EXPECT_EQ(life.Install(kFirstInf).status, kExitOk);
  EXPECT_EQ(life.Now(), (Picture{kFirst, kFirst, kFirst, 20}));
  EXPECT_NE(EndpointIds(life.TheMachine()), ids);
}

}  // namespace
}  // namespace vorn

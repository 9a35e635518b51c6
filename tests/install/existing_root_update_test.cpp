// The install command on a machine with one root device: baselines, journal, hot swap, restarts.

#include "base/text.h"
#include "platform/simulated/audio_values.h"
#include "platform/simulated/endpoint_builder.h"
#include "tests/install/install_run.h"
#include "tests/support/activation.h"
#include "tests/support/catalog_lists.h"
#include "tests/support/console_lines.h"
#include "tests/support/machine_view.h"
#include "tests/support/run_command.h"
#include "tests/support/world.h"

#include <gtest/gtest.h>

namespace vorn {
namespace {

using platform::simulated::AddRoot;
using platform::simulated::CallRecord;
using platform::simulated::Device;
using platform::simulated::DisabledMachine;
using platform::simulated::Fault;
using platform::simulated::FaultKind;
using platform::simulated::FindEndpoint;
using platform::simulated::InstalledMachine;
using platform::simulated::LoseEndpoint;
using platform::simulated::Machine;
using platform::simulated::OutdatedMachine;
using platform::simulated::PublishEndpoints;
using platform::simulated::RemoveDeviceNode;
using platform::simulated::WithdrawEndpoints;
using tests::ChangeBefore;
using tests::ConsoleOf;
using tests::ControlCodes;
using tests::CountOf;
using tests::EndpointIds;
using tests::Err;
using tests::ExpectRun;
using tests::FailingCall;
using tests::Install;
using tests::InstallRollback;
using tests::JournalIn;
using tests::kAcquire;
using tests::kPersisted;
using tests::kRejected;
using tests::kRelease;
using tests::kRootId;
using tests::kSampleJournal;
using tests::kSampleProven;
using tests::kUntouched;
using tests::kUpdated;
using tests::kVisibility;
using tests::Proven;
using tests::RunResult;
using tests::VisibleEndpoints;

// ------------------------------------------------------------------------------------------------
// A successful update.

TEST(ExistingRootUpdate, BindsTheNewPackageAndProvesIt) {
  Machine machine = OutdatedMachine();
  const Machine before = machine;
  const ActivationState expected = tests::UpdateTarget(machine);
  const RunResult run = Install(machine);
  ExpectRun(run, kExitOk, {kPersisted, kUpdated, kSampleProven});
  EXPECT_EQ(tests::BoundVersion(machine), "26.8.10.5");
  EXPECT_EQ(tests::ResidentVersion(machine), "26.8.10.5");
  EXPECT_EQ(VisibleEndpoints(machine), 20U);
  EXPECT_EQ(EndpointIds(machine), EndpointIds(before));
  EXPECT_EQ(JournalIn(machine, kSampleJournal), expected);
}

TEST(ExistingRootUpdate, HidesTheEndpointsUnderALeaseBeforeTheBind) {
  Machine machine = OutdatedMachine();
  const RunResult run = Install(machine);
  EXPECT_EQ(run.status, kExitOk);
  std::vector<std::string> steps;  // that hide the endpoints or bind
  for (const CallRecord& call : run.calls) {
    if (call.name == "UpdateDriverForPlugAndPlayDevicesW") steps.push_back("bind");
    if (call.name != "DeviceIoControl") continue;
    const std::string code = call.Argument("controlCode");
    if (code == kAcquire || code == kRelease || code == kVisibility) steps.push_back(code);
  }
  std::vector<std::string> expected(23, kVisibility);
  expected[0] = kAcquire;
  expected[21] = kRelease;
  expected[22] = "bind";
  EXPECT_EQ(steps, expected);  // and nothing is shown again: the driver is a new one
}

TEST(ExistingRootUpdate, HidesTheEndpointsForTheBindOfARollbackToo) {
  Machine machine = OutdatedMachine();
  const auto codes = ControlCodes(InstallRollback(machine));
  EXPECT_EQ(CountOf(codes, kAcquire), 1U);
  EXPECT_EQ(CountOf(codes, kVisibility), 20U);
}

TEST(ExistingRootUpdate, BindsTheSnapshotsCopyOfTheInf) {
  Machine machine = OutdatedMachine();
  const auto binds = Install(machine).CallsOf("UpdateDriverForPlugAndPlayDevicesW");
  ASSERT_EQ(binds.size(), 1U);
  EXPECT_NE(binds[0].Argument("FullInfPath").find("\\VORN-input-"), std::string::npos)
      << binds[0].Argument("FullInfPath");
}

TEST(ExistingRootUpdate, ChecksWhatRunsOnlyAfterTheJournalIsWritten) {
  Machine machine = OutdatedMachine();
  const RunResult run = Install(machine, {.faults = {FailingCall("FlushFileBuffers", 112, 4)}});
  EXPECT_EQ(run.status, kExitActivationStateBlocks);
  EXPECT_FALSE(run.Called("OpenSCManagerW")) << "the engine starts the audio services first";
}

TEST(ExistingRootUpdate, RecordsWhatTheUserHadDisabled) {
  Machine machine = OutdatedMachine();
  tests::DisableEndpoint(machine, {3, 1});
  ExpectRun(Install(machine), kExitOk,
            {kPersisted, kUpdated, Proven("08/10/2026", "26.8.10.5", "oem4.inf", 19)});
  const auto journal = JournalIn(machine, kSampleJournal);
  ASSERT_TRUE(journal.has_value());
  EXPECT_EQ(journal->catalog.size(), 20U);
  EXPECT_EQ(journal->present.size(), 19U);
  EXPECT_EQ(VisibleEndpoints(machine), 19U);
}

TEST(ExistingRootUpdate, AcceptsAPackageThatGivesEveryEndpointANewId) {
  Machine machine = OutdatedMachine();
  tests::DisableEveryEndpoint(machine);
  machine.audio.remintNext = 20;  // when the bind restarts the driver
  const Machine before = machine;
  // Not judged: the judges expect the ids to be kept, as every sample package keeps them.
  const RunResult run = tests::RunCommand(machine, {u"install", tests::kSampleInf, kSampleJournal});
  ExpectRun(run, kExitOk, {kPersisted, kUpdated, Proven("08/10/2026", "26.8.10.5", "oem4.inf", 0)});
  EXPECT_NE(EndpointIds(machine), EndpointIds(before));
}

TEST(ExistingRootUpdate, BindsARollbackWithoutCheckingWhatAlreadyRuns) {
  Machine machine = InstalledMachine();
  const RunResult run = InstallRollback(machine);
  ExpectRun(run, kExitOk, {kPersisted, kUpdated, Proven("08/10/2026", "26.8.10.5", "oem3.inf")});
  EXPECT_EQ(run.CallsOf("OpenSCManagerW").size(), 1U) << "no quick look before the bind";
  EXPECT_EQ(run.CallsOf("UpdateDriverForPlugAndPlayDevicesW").size(), 1U);
}

// ------------------------------------------------------------------------------------------------
// The target package already runs.

TEST(UnchangedPackage, LeavesTheDeviceUntouched) {
  Machine machine = InstalledMachine();
  const Machine before = machine;
  const RunResult run = Install(machine);
  ExpectRun(run, kExitOk, {kPersisted, kUntouched, Proven("08/10/2026", "26.8.10.5", "oem3.inf")});
  EXPECT_FALSE(run.Called("UpdateDriverForPlugAndPlayDevicesW"));
  EXPECT_EQ(CountOf(ControlCodes(run), kAcquire), 0U);
  EXPECT_TRUE(machine.audio.endpoints == before.audio.endpoints);
  EXPECT_TRUE(JournalIn(machine, kSampleJournal).has_value());
}

TEST(UnchangedPackage, DropsTheJournalWhenTheProofFailsAfterTheQuickLook) {
  Machine machine = InstalledMachine();
  const std::u16string lost = FindEndpoint(machine, kRootId, {2, 0})->id;
  // The engine opens the service manager first: once for the quick look, once for the proof.
  const Fault fault =
      ChangeBefore("OpenSCManagerW", 2, [&lost](Machine& world) { LoseEndpoint(world, lost); });
  ExpectRun(Install(machine, {.faults = {fault}}), kExitEndpointsMissing,
            {kPersisted, kUntouched,
             Err("vorn_devnode: RESULT=ENDPOINTS_MISSING - root=healthy; package=; kernel=; "
                 "resident=proven; catalog=healthy; mapping=MMDevice catalog has the wrong VORN "
                 "endpoint count; present=driver update changed the exact active endpoint set "
                 "(catalog=19, active=19, present-pnp=19)")});
  EXPECT_EQ(JournalIn(machine, kSampleJournal), std::nullopt);
}

TEST(UnchangedPackage, NoticesEndpointsThatGotNewIdsInTheMeantime) {
  Machine machine = InstalledMachine();
  // Only the proof, not the quick look, knows that the package is unchanged.
  const Fault fault = ChangeBefore("OpenSCManagerW", 2, [](Machine& world) {
    WithdrawEndpoints(world, kRootId);
    world.audio.remintNext = 20;
    PublishEndpoints(world, kRootId);
  });
  const RunResult run = Install(machine, {.faults = {fault}});
  ExpectRun(run, kExitEndpointsMissing,
            {kPersisted, kUntouched,
             Err("vorn_devnode: RESULT=ENDPOINTS_MISSING - root=healthy; package=; kernel=; "
                 "resident=proven; catalog=healthy; mapping=unchanged driver package re-minted "
                 "MMDevice cable identities; present=driver update changed the exact active "
                 "endpoint set (catalog=20, active=20, present-pnp=20)")});
  EXPECT_EQ(JournalIn(machine, kSampleJournal), std::nullopt);
}

/// All endpoints get new ids while none of them is in use, so that only their ids differ.
void RemintWhatTheUserDisabled(Machine& machine) {
  WithdrawEndpoints(machine, kRootId);
  machine.audio.remintNext = 20;
  PublishEndpoints(machine, kRootId);
}

TEST(UnchangedPackage, IsNotPresumedByTheQuickLook) {
  Machine machine = InstalledMachine();
  tests::DisableEveryEndpoint(machine);
  const Fault fault = ChangeBefore("OpenSCManagerW", 1, RemintWhatTheUserDisabled);
  ExpectRun(Install(machine, {.faults = {fault}}), kExitEndpointsMissing,
            {kPersisted, kUntouched,
             Err("vorn_devnode: RESULT=ENDPOINTS_MISSING - root=healthy; package=; kernel=; "
                 "resident=proven; catalog=healthy; mapping=unchanged driver package re-minted "
                 "MMDevice cable identities; present= (catalog=20, active=0, present-pnp=0)")});
}

TEST(UnchangedPackage, IsNotThatOfADeviceThatStopsBeforeTheQuickLook) {
  Machine machine = InstalledMachine();
  const Fault fault =
      ChangeBefore("OpenSCManagerW", 1, [](Machine& world) { tests::StopRoot(world, 10); });
  const RunResult run = Install(machine, {.faults = {fault}});
  EXPECT_EQ(run.CallsOf("UpdateDriverForPlugAndPlayDevicesW").size(), 1U);
  const auto console = ConsoleOf(run);
  EXPECT_EQ(std::count(console.begin(), console.end(), kUntouched), 0);
}

TEST(UnchangedPackage, IsLookedForOnADeviceThatStopsAfterItsDiscovery) {
  Machine machine = InstalledMachine();
  const Fault fault =
      ChangeBefore("SetEndOfFile", 4, [](Machine& world) { tests::StopRoot(world, 10); });
  const RunResult run = Install(machine, {.faults = {fault}});
  const auto firstOf = [&run](std::string_view name) {
    return std::find_if(run.calls.begin(), run.calls.end(),
                        [name](const CallRecord& call) { return call.name == name; });
  };
  EXPECT_LT(firstOf("SetEndOfFile"), firstOf("OpenSCManagerW"));
  EXPECT_LT(firstOf("OpenSCManagerW"), firstOf("UpdateDriverForPlugAndPlayDevicesW"));
}

TEST(UnchangedPackage, IsHeldAgainstTheBaselineOfTheJournal) {
  Machine machine = InstalledMachine();
  // The user disables an endpoint after the baseline was taken.
  const Fault fault = ChangeBefore("OpenSCManagerW", 1, [](Machine& world) {
    tests::DisableEndpoint(world, {3, 1});
  });
  const RunResult run = Install(machine, {.faults = {fault}});
  EXPECT_EQ(run.CallsOf("UpdateDriverForPlugAndPlayDevicesW").size(), 1U);
}

TEST(UnchangedPackage, IsLookedForOnceWithoutWaiting) {
  Machine machine = OutdatedMachine();
  const std::uint64_t start = machine.clock.tick;
  std::uint64_t bound = 0;
  const Fault fault = ChangeBefore("UpdateDriverForPlugAndPlayDevicesW", 1,
                                   [&bound](Machine& world) { bound = world.clock.tick; });
  EXPECT_EQ(Install(machine, {.faults = {fault}}).status, kExitOk);
  EXPECT_LT(bound - start, 1'000U) << "another package runs, which no wait would change";
}

// ------------------------------------------------------------------------------------------------
// Refusals before the journal exists.

TEST(ExistingRootUpdate, NeedsTheInstanceIdOfTheRoot) {
  Machine machine = OutdatedMachine();
  // Pruning and its proof read the id before, each with one call for its size and one for the text.
  const RunResult run =
      Install(machine, {.faults = {FailingCall("SetupDiGetDeviceInstanceIdW", 13, 5)}});
  ExpectRun(run, kExitNotStarted,
            {Err("vorn_devnode: existing root baseline is missing or ambiguous: present VORN root "
                 "has no device instance id")});
  EXPECT_FALSE(run.Called("UpdateDriverForPlugAndPlayDevicesW"));
  EXPECT_FALSE(run.Called("DeviceIoControl"));
  EXPECT_FALSE(tests::HasFile(machine, kSampleJournal));
}

TEST(ExistingRootUpdate, ListsTheRootsOnceForItsBaseline) {
  Machine machine = OutdatedMachine();
  const RunResult run = Install(machine, {.faults = {FailingCall("SetupDiGetClassDevsW", 13, 4)}});
  ExpectRun(run, kExitNotStarted,
            {Err("vorn_devnode: existing root baseline is missing or ambiguous: "
                 "SetupDiGetClassDevs(live root) failed")});
  EXPECT_EQ(run.CallsOf("SetupDiGetClassDevsW").size(), 4U);
}

TEST(ExistingRootUpdate, IsRefusedWhenTheDeviceVanishesAfterThePruning) {
  Machine machine = OutdatedMachine();
  // The devices are listed to count them, to prune them and to prove the pruning; the fourth list
  // is the live root's.
  const Fault fault = ChangeBefore("SetupDiGetClassDevsW", 4,
                                   [](Machine& world) { RemoveDeviceNode(world, kRootId); });
  ExpectRun(Install(machine, {.faults = {fault}}), kExitNotStarted,
            {Err("vorn_devnode: existing root baseline is missing or ambiguous: no present "
                 "Root\\VornAudio devnode")});
  EXPECT_EQ(JournalIn(machine, kSampleJournal), std::nullopt);
}

TEST(ExistingRootUpdate, IsRefusedWhenASecondDeviceAppearsAfterThePruning) {
  for (Machine machine : {OutdatedMachine(), DisabledMachine()}) {
    const Fault fault = ChangeBefore("SetupDiGetClassDevsW", 4,
                                     [](Machine& world) { AddRoot(world, u"ROOT\\MEDIA\\0007"); });
    ExpectRun(Install(machine, {.faults = {fault}}), kExitNotStarted,
              {Err("vorn_devnode: existing root baseline is missing or ambiguous: multiple present "
                   "Root\\VornAudio devnodes")});
  }
}

TEST(ExistingRootUpdate, IsRefusedForADeviceThatTheUserDisabled) {
  Machine machine = DisabledMachine();
  const RunResult run = Install(machine);
  ExpectRun(run, kExitBindRefused,
            {Err("vorn_devnode: RESULT=BIND_REFUSED - the VORN device is disabled; enable it in "
                 "Device Manager before updating its driver")});
  EXPECT_FALSE(run.Called("UpdateDriverForPlugAndPlayDevicesW"));
  EXPECT_EQ(JournalIn(machine, kSampleJournal), std::nullopt);
}

TEST(ExistingRootUpdate, IsRefusedForADisabledDeviceThatSaysNothingOfItsDriver) {
  Machine machine = DisabledMachine();
  tests::RootOf(machine).properties.clear();
  EXPECT_EQ(Install(machine).status, kExitBindRefused);
}

TEST(ExistingRootUpdate, IsRefusedForADisabledDeviceBeforeTheCatalogIsRead) {
  Machine machine = DisabledMachine();
  machine.audio.enumError = platform::E_FAIL;
  const RunResult run = Install(machine);
  EXPECT_EQ(run.status, kExitBindRefused);
  EXPECT_FALSE(run.Called("CoInitializeEx"));
}

TEST(ExistingRootUpdate, BindsTheRollbackOfADisabledDevice) {
  Machine machine = DisabledMachine();
  const RunResult run = InstallRollback(machine);
  ExpectRun(run, kExitNotStarted,
            {kPersisted, kUpdated,
             Err("vorn_devnode: RESULT=NOT_STARTED - devnode did not reach DN_STARTED "
                 "(problem=22)")});
  EXPECT_EQ(CountOf(ControlCodes(run), kAcquire), 0U);
  EXPECT_EQ(JournalIn(machine, kSampleJournal), std::nullopt);
}

TEST(ExistingRootUpdate, IsRefusedWithoutACompleteCatalogBaseline) {
  Machine machine = OutdatedMachine();
  machine.audio.enumError = platform::E_FAIL;
  const RunResult run = Install(machine);
  ExpectRun(run, kExitEndpointsMissing,
            {Err("vorn_devnode: existing root has no complete MMDevice catalog baseline: MMDevice "
                 "catalog enumeration was incomplete")});
  EXPECT_FALSE(tests::HasFile(machine, kSampleJournal));
  EXPECT_EQ(InstallRollback(machine).status, kExitEndpointsMissing);
}

TEST(ExistingRootUpdate, AcceptsABaselineThatPlugAndPlayDoesNotConfirm) {
  Machine machine = OutdatedMachine();
  // An active endpoint has lost its child device. Only the engine compares the catalog with Plug
  // and Play.
  const std::u16string id = FindEndpoint(machine, kRootId, {6, 1})->id;
  machine.devices.devices.EraseIf(
      [&id](const Device& device) { return device.instanceId.ends_with(id); });
  const RunResult run = Install(machine);
  ExpectRun(run, kExitOk, {kPersisted, kUpdated, kSampleProven});
}

TEST(ExistingRootUpdate, IsRefusedForAnAmbiguousEndpointBaseline) {
  Machine machine = OutdatedMachine();
  // The device tree returns the same child twice.
  Fault fault = FailingCall("CM_Get_Sibling", 0, 1);
  fault.kind = FaultKind::SucceedWithoutEffect;
  ExpectRun(Install(machine, {.faults = {fault}}), kExitEndpointsMissing,
            {Err("vorn_devnode: existing endpoint baseline is ambiguous: live endpoint enumeration "
                 "contains a duplicate")});
  EXPECT_FALSE(tests::HasFile(machine, kSampleJournal));
}

TEST(ExistingRootUpdate, TouchesNoDeviceWhenTheJournalCannotBeWritten) {
  Machine machine = OutdatedMachine();
  const RunResult run = Install(machine, {.faults = {FailingCall("FlushFileBuffers", 112, 4)}});
  ExpectRun(run, kExitActivationStateBlocks,
            {Err("vorn_devnode: WriteFile(activation state) failed (error 0x00000070)")});
  EXPECT_FALSE(run.Called("UpdateDriverForPlugAndPlayDevicesW"));
  EXPECT_EQ(CountOf(ControlCodes(run), kAcquire), 0U);
  EXPECT_FALSE(tests::HasFile(machine, kSampleJournal));
}

// ------------------------------------------------------------------------------------------------
// A device that is not started.

// A stopped device has no endpoints in use, so its baseline holds none. The endpoints of the
// started driver then differ from the baseline, and the caller is told to roll back.
TEST(StoppedRoot, IsBoundWithoutHotSwap) {
  Machine machine = OutdatedMachine();
  tests::StopRoot(machine, 10);
  const Machine before = machine;
  const RunResult run = Install(machine);
  ExpectRun(run, kExitEndpointsMissing,
            {kPersisted, kUpdated,
             Err("vorn_devnode: RESULT=ENDPOINTS_MISSING - root=healthy; package=; kernel=; "
                 "resident=proven; catalog=healthy; mapping=; present=driver update changed the "
                 "exact active endpoint set (catalog=20, active=20, present-pnp=20)")});
  EXPECT_EQ(run.CallsOf("UpdateDriverForPlugAndPlayDevicesW").size(), 1U);
  EXPECT_EQ(run.CallsOf("OpenSCManagerW").size(), 1U) << "no quick look before the bind";
  EXPECT_EQ(CountOf(ControlCodes(run), kAcquire), 0U);
  EXPECT_EQ(CountOf(ControlCodes(run), kVisibility), 0U);
  EXPECT_EQ(tests::BoundVersion(machine), "26.8.10.5");
  EXPECT_EQ(tests::ResidentVersion(machine), "26.8.10.5");
  EXPECT_EQ(VisibleEndpoints(machine), 20U);
  EXPECT_EQ(JournalIn(machine, kSampleJournal), std::nullopt);
}

TEST(ExistingRootUpdate, WaitsForEndpointsThatAppearLate) {
  Machine machine = OutdatedMachine();
  machine.audio.late = {{0, 0}, {9, 1}};
  machine.audio.lateDelay = 70'000;
  ExpectRun(Install(machine), kExitOk, {kPersisted, kUpdated, kSampleProven});
}

TEST(ExistingRootUpdate, ReportsADeviceThatVanishesDuringTheBind) {
  Machine machine = OutdatedMachine();
  const Fault fault = ChangeBefore("UpdateDriverForPlugAndPlayDevicesW", 1,
                                   [](Machine& world) { RemoveDeviceNode(world, kRootId); });
  const RunResult run = Install(machine, {.faults = {fault}});
  // Hidden endpoints cannot be shown on a device that is gone, and the run says so.
  ExpectRun(run, kExitBindRefused,
            {kPersisted,
             Err("vorn_devnode: UpdateDriverForPlugAndPlayDevices(existing) failed (error "
                 "0xE000020B)"),
             kRejected,
             Err("vorn_devnode: driver quiesce could not open the device: no openable VORN "
                 "interface on this root (control and KS both failed, last error 0x00000002)")});
  EXPECT_EQ(JournalIn(machine, kSampleJournal), std::nullopt);
}

}  // namespace
}  // namespace vorn

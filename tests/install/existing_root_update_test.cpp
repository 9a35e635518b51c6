// The install command on a machine with one root device: baselines, journal, hot swap, restarts.

#include "base/text.h"
#include "platform/config_manager.h"
#include "platform/simulated/device_io.h"
#include "platform/simulated/endpoint_builder.h"
#include "tests/support/activation.h"
#include "tests/support/console_lines.h"
#include "tests/support/run_command.h"
#include "tests/support/world.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace vorn {
namespace {

using platform::simulated::AddRoot;
using platform::simulated::CableFlow;
using platform::simulated::CallRecord;
using platform::simulated::Device;
using platform::simulated::DisabledMachine;
using platform::simulated::DriverImage;
using platform::simulated::Fault;
using platform::simulated::FaultKind;
using platform::simulated::FindEndpoint;
using platform::simulated::InstalledMachine;
using platform::simulated::LoseEndpoint;
using platform::simulated::Machine;
using platform::simulated::NodeAt;
using platform::simulated::OutdatedMachine;
using platform::simulated::PutFile;
using platform::simulated::Reboot;
using platform::simulated::RemoveDeviceNode;
using platform::simulated::RemovePath;
using platform::simulated::SetStringProperty;
using tests::ChangeBefore;
using tests::Console;
using tests::ConsoleLine;
using tests::ConsoleOf;
using tests::EndpointIds;
using tests::Err;
using tests::ExpectRun;
using tests::ExpectTidy;
using tests::JournalIn;
using tests::kNewInf;
using tests::kRootId;
using tests::kSampleInf;
using tests::kSampleJournal;
using tests::Out;
using tests::ProvenLine;
using tests::RootOf;
using tests::RunCommand;
using tests::RunOptions;
using tests::RunResult;
using tests::VisibleEndpoints;

const auto kPersisted = Out("vorn_devnode: persisted protected pre-bind activation state");
const auto kUpdated = Out("vorn_devnode: Root\\VornAudio driver updated on existing devnode");
const auto kUntouched =
    Out("vorn_devnode: Root\\VornAudio already runs the target package; device left untouched");
const auto kNotQuiesced =
    Err("vorn_devnode: VORN endpoints could not be quiesced; binding directly");
const auto kRejected = Err("vorn_devnode: RESULT=BIND_REFUSED - Windows rejected the bind");
const auto kRollbackSelected =
    Err("vorn_devnode: RESULT=REBOOT_REQUIRED - rollback package selected; Windows loads it at the "
        "next restart");

ConsoleLine Deferred(const std::string& code, bool restored) {
  return Err("vorn_devnode: RESULT=" + code +
             " - Windows deferred the driver switch to a restart; " +
             (restored ? "previous package selection restored; rolling back"
                       : "the previous selection could not be restored, so PnP metadata may name "
                         "the staged package until the next update converges; rolling back"));
}

ConsoleLine Proven(const std::string& date, const std::string& version, const std::string& inf,
                   std::size_t active = 20) {
  return Out("vorn_devnode: RESULT=OK - root=ROOT\\MEDIA\\0000, package=" + date + " " + version +
             " (" + inf + "), catalog=20, active=" + std::to_string(active) +
             ", present-pnp=" + std::to_string(active) + ", kernel=20");
}

const auto kSampleProven = Proven("08/10/2026", "26.8.10.5", "oem4.inf");

RunResult Install(Machine& machine, const RunOptions& options = {}) {
  return RunCommand(machine, {u"install", kSampleInf, kSampleJournal}, options);
}

RunResult InstallRollback(Machine& machine, const RunOptions& options = {}) {
  return RunCommand(machine, {u"install", kSampleInf, kSampleJournal, u"--rollback"}, options);
}

/// The control codes that were sent, in order.
std::vector<std::string> ControlCodes(const RunResult& run) {
  std::vector<std::string> codes;
  for (const CallRecord& call : run.CallsOf("DeviceIoControl"))
    codes.push_back(call.Argument("controlCode"));
  return codes;
}

std::size_t CountOf(const std::vector<std::string>& texts, const std::string& text) {
  return static_cast<std::size_t>(std::count(texts.begin(), texts.end(), text));
}

constexpr const char* kAcquire = "0x226000";
constexpr const char* kRelease = "0x22A004";
constexpr const char* kVisibility = "0x22A01C";

Fault FailCall(std::string name, std::uint32_t nth, std::uint32_t error) {
  Fault fault;
  fault.call = std::move(name);
  fault.first = fault.last = nth;
  fault.error = error;
  return fault;
}

/// The sample package asks for a restart when it is bound; the package before it does not.
void MakeSampleDefer(Machine& machine) {
  tests::AddPackage(machine, u"C:\\pkg\\driver", u"26.8.10.5", u"08/10/2026",
                    [](DriverImage& image) { image.needsRestart = true; });
}

// ------------------------------------------------------------------------------------------------
// The update that works.

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
  ExpectTidy(before, machine);
}

TEST(ExistingRootUpdate, HidesTheEndpointsUnderALeaseBeforeTheBind) {
  Machine machine = OutdatedMachine();
  const RunResult run = Install(machine);
  std::vector<std::string> steps;  // of hiding and binding
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
  EXPECT_EQ(steps, expected);  // and no showing: the driver is a new one
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

TEST(ExistingRootUpdate, GoesOnInARollbackWithoutLookingWhatRuns) {
  Machine machine = InstalledMachine();
  ExpectRun(InstallRollback(machine), kExitOk,
            {kPersisted, kUpdated, Proven("08/10/2026", "26.8.10.5", "oem3.inf")});
}

// ------------------------------------------------------------------------------------------------
// The package runs already.

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

TEST(UnchangedPackage, NoticesEndpointsThatGotNewIdsMeanwhile) {
  Machine machine = InstalledMachine();
  // Only the proof, not the quick look, knows that the package is unchanged.
  const Fault fault = ChangeBefore("OpenSCManagerW", 2, [](Machine& world) {
    WithdrawEndpoints(world, kRootId);
    world.audio.remintNext = 20;
    PublishEndpoints(world, kRootId);
  });
  const RunResult run = Install(machine, {.faults = {fault}});
  EXPECT_EQ(run.status, kExitEndpointsMissing);
  EXPECT_NE(ToUtf8(run.errorOutput)
                .find("mapping=unchanged driver package re-minted MMDevice cable identities;"),
            std::string::npos)
      << ToUtf8(run.errorOutput);
}

// ------------------------------------------------------------------------------------------------
// Refusals before the journal exists.

TEST(ExistingRootUpdate, IsRefusedWhenTheDeviceWentAfterTheCleanUp) {
  Machine machine = OutdatedMachine();
  // Counting, pruning and its proof list the devices before the live root is looked for.
  const Fault fault = ChangeBefore("SetupDiGetClassDevsW", 4,
                                   [](Machine& world) { RemoveDeviceNode(world, kRootId); });
  ExpectRun(Install(machine, {.faults = {fault}}), kExitNotStarted,
            {Err("vorn_devnode: existing root baseline is missing or ambiguous: no present "
                 "Root\\VornAudio devnode")});
  EXPECT_EQ(JournalIn(machine, kSampleJournal), std::nullopt);
}

TEST(ExistingRootUpdate, IsRefusedWhenASecondDeviceCameAfterTheCleanUp) {
  Machine machine = OutdatedMachine();
  const Fault fault = ChangeBefore("SetupDiGetClassDevsW", 4,
                                   [](Machine& world) { AddRoot(world, u"ROOT\\MEDIA\\0007"); });
  ExpectRun(Install(machine, {.faults = {fault}}), kExitNotStarted,
            {Err("vorn_devnode: existing root baseline is missing or ambiguous: multiple present "
                 "Root\\VornAudio devnodes")});
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
}

TEST(ExistingRootUpdate, TakesABaselineThatPlugAndPlayDoesNotConfirm) {
  Machine machine = OutdatedMachine();
  // An active endpoint without its child: the comparison with Plug and Play is the engine's.
  const std::u16string id = FindEndpoint(machine, kRootId, {6, 1})->id;
  std::erase_if(machine.devices.devices,
                [&id](const Device& device) { return device.instanceId.ends_with(id); });
  const RunResult run = Install(machine);
  ExpectRun(run, kExitOk, {kPersisted, kUpdated, kSampleProven});
}

TEST(ExistingRootUpdate, IsRefusedForAnAmbiguousEndpointBaseline) {
  Machine machine = OutdatedMachine();
  // The device tree gives the same child twice.
  Fault fault = FailCall("CM_Get_Sibling", 1, 0);
  fault.kind = FaultKind::SucceedWithoutEffect;
  ExpectRun(Install(machine, {.faults = {fault}}), kExitEndpointsMissing,
            {Err("vorn_devnode: existing endpoint baseline is ambiguous: live endpoint enumeration "
                 "contains a duplicate")});
  EXPECT_FALSE(tests::HasFile(machine, kSampleJournal));
}

TEST(ExistingRootUpdate, TouchesNoDeviceWhenTheJournalCannotBeWritten) {
  Machine machine = OutdatedMachine();
  const RunResult run = Install(machine, {.faults = {FailCall("FlushFileBuffers", 4, 112)}});
  ExpectRun(run, kExitActivationStateBlocks,
            {Err("vorn_devnode: WriteFile(activation state) failed (error 0x00000070)")});
  EXPECT_FALSE(run.Called("UpdateDriverForPlugAndPlayDevicesW"));
  EXPECT_EQ(CountOf(ControlCodes(run), kAcquire), 0U);
  EXPECT_FALSE(tests::HasFile(machine, kSampleJournal));
}

// ------------------------------------------------------------------------------------------------
// A device that is not started.

TEST(StoppedRoot, IsBoundWithoutHotSwap) {
  Machine machine = OutdatedMachine();
  tests::StopRoot(machine, 10);
  const RunResult run = Install(machine);
  EXPECT_EQ(run.Called("UpdateDriverForPlugAndPlayDevicesW"), true);
  EXPECT_EQ(CountOf(ControlCodes(run), kAcquire), 0U);
  EXPECT_EQ(ConsoleOf(run)[0], kPersisted);
  EXPECT_EQ(ConsoleOf(run)[1], kUpdated);
  EXPECT_EQ(tests::ResidentVersion(machine), "26.8.10.5");
}

// ------------------------------------------------------------------------------------------------
// Quiesce fails, the bind goes on.

TEST(QuiesceBeforeTheBind, FailingAtTheOpenBindsDirectly) {
  Machine machine = OutdatedMachine();
  // The quick look opens the device twice, for the pool and for the status.
  const RunResult run =
      Install(machine, {.faults = {FailCall("CreateFileW", 3, 5), FailCall("CreateFileW", 4, 32)}});
  ExpectRun(run, kExitOk,
            {kPersisted,
             Err("vorn_devnode: driver quiesce could not open the device: no openable VORN "
                 "interface on this root (control and KS both failed, last error 0x00000020)"),
             kNotQuiesced, kUpdated, kSampleProven});
}

TEST(QuiesceBeforeTheBind, FailingAtTheLeaseBindsDirectly) {
  Machine machine = OutdatedMachine();
  RootOf(machine).resident->failures[platform::simulated::kAcquireLease] = 170;
  ExpectRun(Install(machine), kExitOk,
            {kPersisted,
             Err("vorn_devnode: driver quiesce could not acquire the controller lease (error "
                 "0x000000AA)"),
             kNotQuiesced, kUpdated, kSampleProven});
}

TEST(QuiesceBeforeTheBind, WantsTheWholeLeaseReply) {
  Machine machine = OutdatedMachine();
  RootOf(machine).resident->leaseBytes = 8;
  const RunResult run = Install(machine);
  EXPECT_EQ(run.status, kExitOk);
  EXPECT_EQ(ConsoleOf(run)[2], kNotQuiesced);
  EXPECT_EQ(CountOf(ControlCodes(run), kVisibility), 0U);
}

TEST(QuiesceBeforeTheBind, GoesOnBehindOneCableThatRefuses) {
  Machine machine = OutdatedMachine();
  RootOf(machine).resident->refusesToHide[{4, 0}] = 31;
  const RunResult run = Install(machine);
  ExpectRun(run, kExitOk,
            {kPersisted, Err("vorn_devnode: could not hide cable 4 render (error 0x0000001F)"),
             kNotQuiesced, kUpdated, kSampleProven});
  EXPECT_EQ(CountOf(ControlCodes(run), kVisibility), 20U);
}

TEST(QuiesceBeforeTheBind, NamesAllTwentyWhenNoneCanBeHidden) {
  Machine machine = OutdatedMachine();
  RootOf(machine).resident->failures[platform::simulated::kSetCableVisibility] = 31;
  const RunResult run = Install(machine);
  EXPECT_EQ(run.status, kExitOk);
  const Console console = ConsoleOf(run);
  ASSERT_EQ(console.size(), 24U);
  EXPECT_EQ(console[1], Err("vorn_devnode: could not hide cable 0 render (error 0x0000001F)"));
  EXPECT_EQ(console[20], Err("vorn_devnode: could not hide cable 9 capture (error 0x0000001F)"));
}

// ------------------------------------------------------------------------------------------------
// Windows rejects the bind.

TEST(RejectedBind, DropsTheJournalAndShowsTheEndpointsAgain) {
  Machine machine = OutdatedMachine();
  machine.store.updateError = platform::ERROR_FILE_HASH_NOT_IN_CATALOG;
  const Machine before = machine;
  const RunResult run = Install(machine);
  ExpectRun(run, kExitBindRefused,
            {kPersisted,
             Err("vorn_devnode: UpdateDriverForPlugAndPlayDevices(existing) failed (error "
                 "0xE000024B)"),
             kRejected});
  EXPECT_EQ(JournalIn(machine, kSampleJournal), std::nullopt);
  EXPECT_EQ(CountOf(ControlCodes(run), kVisibility), 40U);
  EXPECT_EQ(VisibleEndpoints(machine), 20U);
  EXPECT_EQ(EndpointIds(machine), EndpointIds(before));
  EXPECT_EQ(tests::ResidentVersion(machine), "26.8.9.4");
  ExpectTidy(before, machine);
}

TEST(RejectedBind, ShowsTheEndpointsLastOfAll) {
  Machine machine = OutdatedMachine();
  machine.store.updateError = 5;
  const RunResult run = Install(machine);
  std::size_t lastLine = 0;
  std::size_t deletion = 0;
  std::size_t firstShow = 0;
  std::size_t visibilities = 0;
  for (std::size_t i = 0; i < run.calls.size(); ++i) {
    const CallRecord& call = run.calls[i];
    if (call.name == "fputws") lastLine = i;
    if (call.name == "SetFileInformationByHandle" && deletion == 0) deletion = i;
    const bool visibility =
        call.name == "DeviceIoControl" && call.Argument("controlCode") == kVisibility;
    if (visibility && ++visibilities == 21) firstShow = i;
  }
  EXPECT_LT(lastLine, deletion);
  EXPECT_LT(deletion, firstShow);
}

TEST(RejectedBind, SaysWhichEndpointsItCouldNotShowAgain) {
  Machine machine = OutdatedMachine();
  machine.store.updateError = 5;
  RootOf(machine).resident->refusesToShow[{7, 1}] = 31;
  const RunResult run = Install(machine);
  EXPECT_EQ(run.status, kExitBindRefused);
  EXPECT_EQ(ConsoleOf(run).back(),
            Err("vorn_devnode: could not re-show cable 7 capture (error 0x0000001F)"));
  EXPECT_EQ(VisibleEndpoints(machine), 19U);
}

TEST(RejectedBind, ShowsOnlyWhatItHid) {
  Machine machine = OutdatedMachine();
  machine.store.updateError = 5;
  RootOf(machine).resident->refusesToHide[{4, 0}] = 31;
  const RunResult run = Install(machine);
  EXPECT_EQ(CountOf(ControlCodes(run), kVisibility), 39U);
  EXPECT_EQ(VisibleEndpoints(machine), 20U);
}

// ------------------------------------------------------------------------------------------------
// Windows defers the switch to a restart.

TEST(DeferredSwitch, IsTakenBackWhenThePreviousPackageIsKnown) {
  Machine machine = OutdatedMachine();
  MakeSampleDefer(machine);
  const RunResult run = Install(machine);
  ExpectRun(run, kExitHotSwapFailed, {kPersisted, Deferred("HOT_SWAP_FAILED", true)});
  EXPECT_EQ(JournalIn(machine, kSampleJournal), std::nullopt);
  EXPECT_EQ(tests::BoundVersion(machine), "26.8.9.4");
  EXPECT_EQ(tests::PendingPackage(machine), "");

  const auto binds = run.CallsOf("UpdateDriverForPlugAndPlayDevicesW");
  ASSERT_EQ(binds.size(), 2U);
  EXPECT_EQ(binds[1].Argument("HardwareId"), "Root\\VornAudio");
  EXPECT_EQ(binds[1].Argument("FullInfPath"), "C:\\Windows\\INF\\oem3.inf");
  EXPECT_EQ(binds[1].Argument("InstallFlags"), "0x1");
}

TEST(DeferredSwitch, ShowsTheEndpointsWhenTheOldDriverStaysInMemory) {
  Machine machine = OutdatedMachine();
  machine.store.updateNeedsRestart = true;  // of both binds
  const RunResult run = Install(machine);
  ExpectRun(run, kExitHotSwapFailed, {kPersisted, Deferred("HOT_SWAP_FAILED", true)});
  EXPECT_EQ(CountOf(ControlCodes(run), kVisibility), 40U);
  EXPECT_EQ(VisibleEndpoints(machine), 20U);
}

TEST(DeferredSwitch, ForgetsWhatWasHiddenWhenTheSecondBindRestartedTheDriver) {
  Machine machine = OutdatedMachine();
  MakeSampleDefer(machine);
  const RunResult run = Install(machine);
  EXPECT_EQ(CountOf(ControlCodes(run), kVisibility), 20U);
  Advance(machine, 60'000);  // the driver that was restarted shows them itself
  EXPECT_EQ(VisibleEndpoints(machine), 20U);
}

TEST(DeferredSwitch, OfARollbackKeepsTheJournalForTheRestart) {
  Machine machine = OutdatedMachine();
  MakeSampleDefer(machine);
  const RunResult run = InstallRollback(machine);
  ExpectRun(run, kExitRebootRequired, {kPersisted, kRollbackSelected});
  EXPECT_EQ(run.CallsOf("UpdateDriverForPlugAndPlayDevicesW").size(), 1U);
  EXPECT_TRUE(JournalIn(machine, kSampleJournal).has_value());
  EXPECT_EQ(VisibleEndpoints(machine), 20U);
  EXPECT_EQ(tests::ResidentVersion(machine), "26.8.9.4");
  EXPECT_EQ(tests::PendingPackage(machine), "oem4.inf");
}

TEST(DeferredSwitch, PairsItsStatusWithWhatItCouldRestore) {
  struct Case {
    bool started;
    bool restored;
    const char* code;
    ExitStatus status;
  };
  const Case cases[] = {
      {true, true, "HOT_SWAP_FAILED", kExitHotSwapFailed},
      {true, false, "HOT_SWAP_FAILED", kExitHotSwapFailed},
      {false, true, "NOT_STARTED", kExitBindRefused},
      {false, false, "NOT_STARTED", kExitNotStarted},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(std::string(row.started ? "started" : "stopped") +
                 (row.restored ? ", restored" : ", not restored"));
    Machine machine = OutdatedMachine();
    MakeSampleDefer(machine);
    if (!row.started) tests::StopRoot(machine, 10);
    std::vector<Fault> faults;
    if (!row.restored) faults = {FailCall("UpdateDriverForPlugAndPlayDevicesW", 2, 5)};
    const RunResult run = Install(machine, {.faults = faults});
    EXPECT_EQ(run.status, row.status);
    EXPECT_EQ(ConsoleOf(run).back(), Deferred(row.code, row.restored));
    EXPECT_EQ(JournalIn(machine, kSampleJournal), std::nullopt);
  }
}

TEST(DeferredSwitch, SaysWhyThePreviousPackageCouldNotBeSelected) {
  Machine machine = OutdatedMachine();
  MakeSampleDefer(machine);
  const RunResult run =
      Install(machine, {.faults = {FailCall("UpdateDriverForPlugAndPlayDevicesW", 2, 0xE0000203)}});
  ExpectRun(run, kExitHotSwapFailed,
            {kPersisted,
             Err("vorn_devnode: could not re-select the previous driver package oem3.inf (error "
                 "0xE0000203)"),
             Deferred("HOT_SWAP_FAILED", false)});
  EXPECT_EQ(VisibleEndpoints(machine), 20U);
}

TEST(DeferredSwitch, CannotSelectAPreviousPackageThatDoesNotOpenAgain) {
  Machine machine = OutdatedMachine();
  MakeSampleDefer(machine);
  // Somebody deletes the INF after it was authenticated, just before it is opened for the bind.
  std::uint32_t opens = 0;
  {
    Machine probe = machine;
    opens = static_cast<std::uint32_t>(Install(probe).CallsOf("QueryDosDeviceW").size());
  }
  // The last drive look-ups are those of the opens by path: the re-selection's, then none.
  const Fault fault = ChangeBefore("QueryDosDeviceW", opens, [](Machine& world) {
    RemovePath(world.files, u"C:\\Windows\\INF\\oem3.inf");
  });
  ExpectRun(Install(machine, {.faults = {fault}}), kExitHotSwapFailed,
            {kPersisted,
             Err("vorn_devnode: could not re-select the previous driver package oem3.inf (error "
                 "0x00000002)"),
             Deferred("HOT_SWAP_FAILED", false)});
}

struct UnknownPrevious {
  const char* name;
  void (*shape)(Machine& machine);
  std::string shown;  // of the package's name
  Console said = {};  // by the INF's reader, before
};

TEST(DeferredSwitch, SelectsNoPreviousPackageThatIsNotProvablyTheProgramsOwn) {
  const auto reader = Err("vorn_devnode: INF has no valid DriverVer date/version");
  const UnknownPrevious cases[] = {
      {"no name",
       [](Machine& m) {
         SetStringProperty(RootOf(m), platform::simulated::kDriverInfPathKey, u"");
       },
       ""},
      {"a name of no published package",
       [](Machine& m) {
         SetStringProperty(RootOf(m), platform::simulated::kDriverInfPathKey, u"machine.inf");
       },
       "machine.inf"},
      {"a name with a path",
       [](Machine& m) {
         SetStringProperty(RootOf(m), platform::simulated::kDriverInfPathKey, u"..\\oem3.inf");
       },
       "..\\oem3.inf"},
      {"a missing file", [](Machine& m) { RemovePath(m.files, u"C:\\Windows\\INF\\oem3.inf"); },
       "oem3.inf"},
      {"a file with a second name",
       [](Machine& m) {
         AddHardLink(m.files, u"C:\\Windows\\INF\\oem3.inf", u"C:\\Windows\\INF\\other.inf");
       },
       "oem3.inf"},
      {"an INF without DriverVer",
       [](Machine& m) {
         PutFile(m.files, u"C:\\Windows\\INF\\oem3.inf",
                 "[Version]\r\nSignature=\"$Windows NT$\"\r\n");
       },
       "oem3.inf",
       {reader}},
      {"an INF of another version",
       [](Machine& m) {
         PutFile(m.files, u"C:\\Windows\\INF\\oem3.inf",
                 "[Version]\r\nSignature=\"$Windows NT$\"\r\nDriverVer=07/02/2026,26.8.9.5\r\n");
       },
       "oem3.inf"},
      {"another service",
       [](Machine& m) {
         SetStringProperty(RootOf(m), platform::simulated::kServiceKey, u"OtherAudio");
       },
       "oem3.inf"},
  };
  for (const UnknownPrevious& row : cases) {
    SCOPED_TRACE(row.name);
    Machine machine = OutdatedMachine();
    MakeSampleDefer(machine);
    row.shape(machine);
    const RunResult run = Install(machine);
    EXPECT_EQ(run.status, kExitHotSwapFailed);
    Console expected = {kPersisted};
    expected.insert(expected.end(), row.said.begin(), row.said.end());
    expected.push_back(Err("vorn_devnode: previous driver package selection is unknown (\"" +
                           row.shown + "\"); nothing to re-select"));
    expected.push_back(Deferred("HOT_SWAP_FAILED", false));
    EXPECT_EQ(ConsoleOf(run), expected);
    EXPECT_EQ(run.CallsOf("UpdateDriverForPlugAndPlayDevicesW").size(), 1U);
    EXPECT_EQ(JournalIn(machine, kSampleJournal), std::nullopt);
    EXPECT_EQ(VisibleEndpoints(machine), 20U);
  }
}

TEST(DeferredSwitch, ComparesServiceAndVersionWithoutRegardToCase) {
  Machine machine = OutdatedMachine();
  MakeSampleDefer(machine);
  SetStringProperty(RootOf(machine), platform::simulated::kServiceKey, u"VORNAUDIO");
  ExpectRun(Install(machine), kExitHotSwapFailed, {kPersisted, Deferred("HOT_SWAP_FAILED", true)});
}

TEST(DeferredSwitch, LooksForThePreviousPackageOnlyWhenItIsNeeded) {
  Machine machine = OutdatedMachine();
  const RunResult run = Install(machine);
  EXPECT_EQ(run.CallsOf("UpdateDriverForPlugAndPlayDevicesW").size(), 1U);
  Machine rollback = OutdatedMachine();
  MakeSampleDefer(rollback);
  const auto folders = InstallRollback(rollback).CallsOf("GetWindowsDirectoryW");
  EXPECT_TRUE(folders.empty());
}

// ------------------------------------------------------------------------------------------------
// What the engine finds after the bind.

struct FailingCandidate {
  const char* name;
  void (*shape)(Machine& machine);  // before the run
  ExitStatus status;
  std::string line;
};

TEST(FailingCandidate, IsNamedByTheObservationAndLosesItsJournal) {
  const std::string missing = "vorn_devnode: RESULT=ENDPOINTS_MISSING - root=healthy; ";
  const FailingCandidate cases[] = {
      {"an image that stays", [](Machine& m) { RootOf(m).resident->refusesUnload = true; },
       kExitEndpointsMissing,
       missing +
           "package=; kernel=; resident=RESIDENT IMAGE MISMATCH: driver reports 26.8.9 "
           "(0x001A0809) but the package being activated is 26.8.10.5. PnP metadata is not proof "
           "-- the devnode restart did not load the new image.; catalog=healthy; mapping=; "
           "present= (catalog=20, active=20, present-pnp=20)"},
      {"a wrong interface level",
       [](Machine& m) {
         tests::AddPackage(m, u"C:\\pkg\\driver", u"26.8.10.5", u"08/10/2026",
                           [](DriverImage& image) { image.lifecycleAbi = 2; });
       },
       kExitEndpointsMissing,
       missing +
           "package=; kernel=; resident=RESIDENT IMAGE/ABI MISMATCH: loaded DriverVer is "
           "26.8.10.5 but the activated package is 26.8.10.5; resident driver ABI/capability "
           "handshake does not match the activated package; catalog=healthy; mapping=; present= "
           "(catalog=20, active=20, present-pnp=20)"},
      {"an older status reply",
       [](Machine& m) {
         tests::AddPackage(m, u"C:\\pkg\\driver", u"26.8.10.5", u"08/10/2026",
                           [](DriverImage& image) { image.statusBytes = 100; });
       },
       kExitEndpointsMissing,
       missing +
           "package=; kernel=; resident=resident driver returned a legacy GET_STATUS payload for a "
           "package that requires the SHM v3 lifecycle ABI and four-part loaded DriverVer "
           "identity; catalog=healthy; mapping=; present= (catalog=20, active=20, present-pnp=20)"},
      {"a driver that does not start",
       [](Machine& m) {
         tests::AddPackage(m, u"C:\\pkg\\driver", u"26.8.10.5", u"08/10/2026",
                           [](DriverImage& image) { image.startProblem = 39; });
       },
       kExitNotStarted,
       "vorn_devnode: RESULT=NOT_STARTED - devnode did not reach DN_STARTED (problem=39)"},
      {"a missing endpoint",
       [](Machine& m) {
         m.audio.neverPublished.insert({5, 1});
       },
       kExitEndpointsMissing,
       missing +
           "package=; kernel=; resident=proven; catalog=healthy; mapping=MMDevice catalog has the "
           "wrong VORN endpoint count; present=driver update changed the exact active endpoint "
           "set (catalog=19, active=19, present-pnp=19)"},
      {"a doubled endpoint",
       [](Machine& m) {
         m.audio.doubled.insert({5, 1});
       },
       kExitEndpointsMissing,
       missing + "package=; kernel=; resident=proven; catalog=MMDevice catalog has too many VORN "
                 "endpoints; mapping=MMDevice catalog has the wrong VORN endpoint count; "
                 "present=driver update "
                 "changed the exact active endpoint set (catalog=21, active=21, present-pnp=21)"},
      {"endpoints with new ids, but not all", [](Machine& m) { m.audio.remintNext = 5; },
       kExitEndpointsMissing,
       missing +
           "package=; kernel=; resident=proven; catalog=healthy; mapping=driver update remapped "
           "only some MMDevice cable identities; present=driver update changed the exact active "
           "endpoint set (catalog=20, active=20, present-pnp=20)"},
      {"all endpoints with new ids", [](Machine& m) { m.audio.remintNext = 20; },
       kExitEndpointsMissing,
       missing +
           "package=; kernel=; resident=proven; catalog=healthy; mapping=; present=driver update "
           "changed the exact active endpoint set (catalog=20, active=20, present-pnp=20)"},
      {"an endpoint that the user had disabled",
       [](Machine& m) {
         tests::DisableEndpoint(m, {0, 0});
         m.audio.activated.insert({0, 0});
       },
       kExitEndpointsMissing,
       missing +
           "package=; kernel=; resident=proven; catalog=healthy; mapping=driver update activated "
           "an endpoint the user had not claimed; present=driver update changed the exact active "
           "endpoint set (catalog=20, active=20, present-pnp=20)"},
  };
  for (const FailingCandidate& row : cases) {
    SCOPED_TRACE(row.name);
    Machine machine = OutdatedMachine();
    row.shape(machine);
    const Machine before = machine;
    ExpectRun(Install(machine), row.status, {kPersisted, kUpdated, Err(row.line)});
    EXPECT_EQ(JournalIn(machine, kSampleJournal), std::nullopt);
    ExpectTidy(before, machine);
  }
}

TEST(ExistingRootUpdate, WaitsForEndpointsThatComeLate) {
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
  EXPECT_EQ(run.status, kExitBindRefused);
  EXPECT_EQ(ConsoleOf(run)[1], Err("vorn_devnode: UpdateDriverForPlugAndPlayDevices(existing) "
                                   "failed (error 0xE000020B)"));
  EXPECT_EQ(ConsoleOf(run)[2], kRejected);
  // What was hidden cannot be shown on a device that is gone, and that is said.
  EXPECT_EQ(ConsoleOf(run)[3], Err("vorn_devnode: driver quiesce could not open the device: no "
                                   "openable VORN interface on this root (control and KS both "
                                   "failed, last error 0x00000002)"));
  EXPECT_EQ(JournalIn(machine, kSampleJournal), std::nullopt);
}

}  // namespace
}  // namespace vorn

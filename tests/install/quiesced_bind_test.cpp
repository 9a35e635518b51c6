// The install command hides the endpoints for the bind and shows them again when it is rejected.

#include "platform/config_manager.h"
#include "platform/simulated/device_io.h"
#include "platform/simulated/error_values.h"
#include "tests/install/install_run.h"
#include "tests/support/activation.h"
#include "tests/support/console_lines.h"
#include "tests/support/machine_view.h"
#include "tests/support/run_command.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace vorn {
namespace {

using platform::simulated::CallRecord;
using platform::simulated::Fault;
using platform::simulated::Machine;
using platform::simulated::OutdatedMachine;
using tests::Console;
using tests::ConsoleOf;
using tests::ControlCodes;
using tests::CountOf;
using tests::EndpointIds;
using tests::Err;
using tests::ExpectRun;
using tests::FailingCall;
using tests::Install;
using tests::JournalIn;
using tests::kNotQuiesced;
using tests::kPersisted;
using tests::kRejected;
using tests::kSampleJournal;
using tests::kSampleProven;
using tests::kUpdated;
using tests::kVisibility;
using tests::RootOf;
using tests::RunResult;
using tests::VisibleEndpoints;

// ------------------------------------------------------------------------------------------------
// The endpoints cannot be quiesced, and the bind goes ahead.

TEST(QuiesceBeforeTheBind, FallsBackToADirectBindWhenTheDeviceDoesNotOpen) {
  Machine machine = OutdatedMachine();
  // The quick look opens the device twice, for the pool and for the status.
  const RunResult run = Install(
      machine, {.faults = {FailingCall("CreateFileW", 5, 3), FailingCall("CreateFileW", 32, 4)}});
  ExpectRun(run, kExitOk,
            {kPersisted,
             Err("vorn_devnode: driver quiesce could not open the device: no openable VORN "
                 "interface on this root (control and KS both failed, last error 0x00000020)"),
             kNotQuiesced, kUpdated, kSampleProven});
}

TEST(QuiesceBeforeTheBind, FallsBackToADirectBindWhenTheLeaseIsRefused) {
  Machine machine = OutdatedMachine();
  RootOf(machine).resident->failures[platform::simulated::kAcquireLease] = 170;
  ExpectRun(Install(machine), kExitOk,
            {kPersisted,
             Err("vorn_devnode: driver quiesce could not acquire the controller lease (error "
                 "0x000000AA)"),
             kNotQuiesced, kUpdated, kSampleProven});
}

TEST(QuiesceBeforeTheBind, NeedsTheWholeLeaseReply) {
  Machine machine = OutdatedMachine();
  RootOf(machine).resident->leaseBytes = 8;
  const RunResult run = Install(machine);
  EXPECT_EQ(run.status, kExitOk);
  const Console console = ConsoleOf(run);
  ASSERT_EQ(console.size(), 5U);
  // The call did not fail, so the error is that of an earlier one.
  EXPECT_TRUE(console[1].text.starts_with(
      "vorn_devnode: driver quiesce could not acquire the controller lease (error 0x"))
      << console[1];
  EXPECT_EQ(Console(console.begin() + 2, console.end()),
            (Console{kNotQuiesced, kUpdated, kSampleProven}));
  EXPECT_EQ(CountOf(ControlCodes(run), kVisibility), 0U);
}

TEST(QuiesceBeforeTheBind, ContinuesAfterACableThatRefuses) {
  Machine machine = OutdatedMachine();
  RootOf(machine).resident->refusesToHide[{4, 0}] = 31;
  const RunResult run = Install(machine);
  ExpectRun(run, kExitOk,
            {kPersisted, Err("vorn_devnode: could not hide cable 4 render (error 0x0000001F)"),
             kNotQuiesced, kUpdated, kSampleProven});
  EXPECT_EQ(CountOf(ControlCodes(run), kVisibility), 20U);
}

TEST(QuiesceBeforeTheBind, ReportsAllTwentyWhenNoneCanBeHidden) {
  Machine machine = OutdatedMachine();
  RootOf(machine).resident->failures[platform::simulated::kSetCableVisibility] = 31;
  Console console = {kPersisted};
  for (const char* flow : {"render", "capture"}) {
    for (int cable = 0; cable < 10; ++cable) {
      console.push_back(Err("vorn_devnode: could not hide cable " + std::to_string(cable) + " " +
                            flow + " (error 0x0000001F)"));
    }
  }
  console.insert(console.end(), {kNotQuiesced, kUpdated, kSampleProven});
  ExpectRun(Install(machine), kExitOk, console);
}

TEST(QuiesceBeforeTheBind, IsNotUndoneOnADriverThatTheBindRestarted) {
  Machine machine = OutdatedMachine();
  machine.audio.neverPublished.insert({5, 1});
  const RunResult run = Install(machine);
  EXPECT_EQ(run.status, kExitEndpointsMissing);
  EXPECT_EQ(CountOf(ControlCodes(run), kVisibility), 20U) << "hidden, and not shown again";
}

// ------------------------------------------------------------------------------------------------
// Windows rejects the bind.

const auto kBindFailed =
    Err("vorn_devnode: UpdateDriverForPlugAndPlayDevices(existing) failed (error 0x00000005)");

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
}

TEST(RejectedBind, IsNotTriedAgain) {
  Machine machine = OutdatedMachine();
  const RunResult run =
      Install(machine, {.faults = {FailingCall("UpdateDriverForPlugAndPlayDevicesW", 5)}});
  EXPECT_EQ(run.status, kExitBindRefused);
  EXPECT_EQ(run.CallsOf("UpdateDriverForPlugAndPlayDevicesW").size(), 1U);
}

TEST(RejectedBind, IsReportedForARollbackInTheSameWay) {
  Machine machine = OutdatedMachine();
  machine.store.updateError = 5;
  ExpectRun(tests::InstallRollback(machine), kExitBindRefused,
            {kPersisted, kBindFailed, kRejected});
  EXPECT_EQ(JournalIn(machine, kSampleJournal), std::nullopt);
  EXPECT_EQ(VisibleEndpoints(machine), 20U);
}

TEST(RejectedBind, KeepsItsStatusWhenTheJournalCannotBeDeleted) {
  Machine machine = OutdatedMachine();
  machine.store.updateError = 5;
  // The journal is the first file that is deleted.
  ExpectRun(Install(machine, {.faults = {FailingCall("SetFileInformationByHandle", 31)}}),
            kExitBindRefused,
            {kPersisted, kBindFailed, kRejected,
             Err("vorn_devnode: delete handle(activation state) failed (error 0x0000001F)")});
}

TEST(RejectedBind, SaysWhichEndpointsItCouldNotShowAgain) {
  Machine machine = OutdatedMachine();
  machine.store.updateError = 5;
  RootOf(machine).resident->refusesToShow[{7, 1}] = 31;
  ExpectRun(Install(machine), kExitBindRefused,
            {kPersisted, kBindFailed, kRejected,
             Err("vorn_devnode: could not re-show cable 7 capture (error 0x0000001F)")});
  EXPECT_EQ(VisibleEndpoints(machine), 19U);
}

TEST(RejectedBind, ShowsOnlyWhatItHid) {
  Machine machine = OutdatedMachine();
  machine.store.updateError = 5;
  RootOf(machine).resident->refusesToHide[{4, 0}] = 31;
  const RunResult run = Install(machine);
  ExpectRun(run, kExitBindRefused,
            {kPersisted, Err("vorn_devnode: could not hide cable 4 render (error 0x0000001F)"),
             kNotQuiesced, kBindFailed, kRejected});
  EXPECT_EQ(CountOf(ControlCodes(run), kVisibility), 39U);
  EXPECT_EQ(VisibleEndpoints(machine), 20U);
}

// ------------------------------------------------------------------------------------------------
// Every way out on which the endpoints are still hidden.

/// The lines on the console, the first deletion of a file and the first showing of an endpoint, in
/// order.
std::vector<std::string> LastSteps(const RunResult& run) {
  std::vector<std::string> steps;
  std::size_t visibilities = 0;
  std::size_t deletions = 0;
  for (const CallRecord& call : run.calls) {
    if (call.name == "fputws") steps.emplace_back("say");
    if (call.name == "SetFileInformationByHandle" && ++deletions == 1) steps.emplace_back("delete");
    const bool visibility =
        call.name == "DeviceIoControl" && call.Argument("controlCode") == kVisibility;
    if (visibility && ++visibilities == 21) steps.emplace_back("show");
  }
  return steps;
}

struct WayOut {
  const char* name;
  bool rollback;
  void (*shape)(Machine& machine);
  std::vector<Fault> faults;
  std::vector<std::string> steps;
};

TEST(QuiescedBind, ShowsTheEndpointsAfterTheFinalLineAndTheDeletionOfTheJournal) {
  const auto reject = [](Machine& machine) { machine.store.updateError = 5; };
  const auto defer = [](Machine& machine) { machine.store.updateNeedsRestart = true; };
  // Where the journal stays, the first file that is deleted is one of the snapshot, at the end.
  const WayOut cases[] = {
      {"rejected", false, reject, {}, {"say", "say", "say", "delete", "show"}},
      {"rejected rollback", true, reject, {}, {"say", "say", "say", "delete", "show"}},
      {"deferred rollback", true, defer, {}, {"say", "say", "show", "delete"}},
      {"deferred and taken back", false, defer, {}, {"say", "say", "delete", "show"}},
      {"deferred and not taken back",
       false,
       defer,
       {FailingCall("UpdateDriverForPlugAndPlayDevicesW", 5, 2)},
       {"say", "say", "say", "delete", "show"}},
  };
  for (const WayOut& row : cases) {
    SCOPED_TRACE(row.name);
    Machine machine = OutdatedMachine();
    row.shape(machine);
    const tests::RunOptions options = {.faults = row.faults};
    const RunResult run =
        row.rollback ? tests::InstallRollback(machine, options) : Install(machine, options);
    EXPECT_EQ(LastSteps(run), row.steps);
    EXPECT_EQ(VisibleEndpoints(machine), 20U);
  }
}

}  // namespace
}  // namespace vorn

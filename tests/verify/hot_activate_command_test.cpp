#include "base/text.h"
#include "platform/config_manager.h"
#include "platform/simulated/audio_values.h"
#include "platform/simulated/endpoint_builder.h"
#include "platform/simulated/error_values.h"
#include "tests/support/activation.h"
#include "tests/support/console_lines.h"
#include "tests/support/machine_view.h"
#include "tests/support/run_command.h"
#include "tests/verify/journalled_machines.h"

#include <gtest/gtest.h>

namespace vorn {
namespace {

using platform::simulated::AddRoot;
using platform::simulated::BindPackage;
using platform::simulated::CableFlow;
using platform::simulated::Fault;
using platform::simulated::Machine;
using platform::simulated::OutdatedMachine;
using platform::simulated::PublishPackage;
using tests::ChangeBefore;
using tests::Console;
using tests::ConsoleLine;
using tests::ConsoleOf;
using tests::ControlRequests;
using tests::Err;
using tests::ExpectRun;
using tests::JournalledMachine;
using tests::kRootId;
using tests::kSampleInf;
using tests::Out;
using tests::Perform;
using tests::ProvenLine;
using tests::PutJournal;
using tests::RootOf;
using tests::RunCommand;
using tests::RunOptions;
using tests::RunResult;
using tests::SelectedMachine;
using tests::UpdateTarget;
using tests::VisibilityRequests;
using tests::VisibleEndpoints;
using tests::WithIdentity;

const ConsoleLine kNotQuiesced =
    Err("vorn_devnode: RESULT=HOT_SWAP_FAILED - VORN endpoints could not be quiesced; no driver "
        "mutation attempted");
const ConsoleLine kNeedsRestart =
    Err("vorn_devnode: RESULT=HOT_SWAP_FAILED - selected driver could not be activated without "
        "restart");
const ConsoleLine kRestartRequested =
    Err("vorn_devnode: hot-swap preflight requested a system restart; refusing candidate before "
        "bind");
const ConsoleLine kRestartPassed = Out("vorn_devnode: VORN root hot-restart preflight passed");

std::vector<std::string> AllRequests(const std::string& verb) {
  std::vector<std::string> requests;
  for (const char* flow : {" render", " capture"}) {
    for (int cable = 0; cable < 10; ++cable) {
      requests.push_back(verb + " " + std::to_string(cable) + flow);
    }
  }
  return requests;
}

std::vector<std::string> Joined(std::vector<std::string> first,
                                const std::vector<std::string>& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

TEST(HotActivateCommand, LoadsTheSelectedDriverAndProvesIt) {
  Machine machine = SelectedMachine();
  const RunResult run = Perform(machine, WithIdentity(u"hot-activate"));
  ExpectRun(run, kExitOk, {kRestartPassed, ProvenLine(machine)});
  EXPECT_EQ(RootOf(machine).resident->loadedVersion, 0x1A080Au);
  EXPECT_EQ(VisibleEndpoints(machine), 20u);
  // What was hidden is forgotten: the restarted driver shows it by itself.
  EXPECT_EQ(VisibilityRequests(run), AllRequests("hide"));
  EXPECT_EQ(ControlRequests(run, "0x22A004"), 1u);
  // The verify command agrees.
  ExpectRun(Perform(machine, WithIdentity(u"verify")), kExitOk, {ProvenLine(machine)});
}

TEST(HotActivateCommand, HidesBeforeItRestarts) {
  Machine machine = SelectedMachine();
  const RunResult run = Perform(machine, WithIdentity(u"hot-activate"));
  std::size_t lastHide = 0;
  std::size_t restart = 0;
  for (std::size_t i = 0; i < run.calls.size(); ++i) {
    if (run.calls[i].name == "SetupDiCallClassInstaller") restart = i;
    if (run.calls[i].Argument("controlCode") == "0x22A01C") lastHide = i;
  }
  EXPECT_GT(lastHide, 0u);
  EXPECT_GT(restart, lastHide);
}

TEST(HotActivateCommand, KeepsEndpointsAsTheUserLeftThem) {
  Machine machine = OutdatedMachine();
  SetEndpointDisabled(machine, FindEndpoint(machine, kRootId, CableFlow{6, 0})->id, true);
  PutJournal(machine, UpdateTarget(machine));
  BindPackage(machine, kRootId, *PublishPackage(machine, kSampleInf, u"Root\\VornAudio"));
  const RunResult run = Perform(machine, WithIdentity(u"hot-activate"));
  EXPECT_EQ(run.status, kExitOk) << ToUtf8(run.errorOutput);
  EXPECT_EQ(VisibleEndpoints(machine), 19u);
}

TEST(HotActivateCommand, RefusesWithoutALiveRoot) {
  Machine machine = JournalledMachine();
  RemoveDeviceNode(machine, kRootId);
  ExpectRun(
      Perform(machine, WithIdentity(u"hot-activate")), kExitHotSwapFailed,
      {Err("vorn_devnode: RESULT=HOT_SWAP_FAILED - cannot resolve the live VORN root: no present "
           "Root\\VornAudio devnode")});
}

TEST(HotActivateCommand, RefusesARootThatIsNotTheOnlyOneOrNotStarted) {
  Machine two = JournalledMachine();
  AddRoot(two, u"ROOT\\MEDIA\\0001");
  ExpectRun(
      Perform(two, WithIdentity(u"hot-activate")), kExitHotSwapFailed,
      {Err("vorn_devnode: RESULT=HOT_SWAP_FAILED - cannot resolve the live VORN root: multiple "
           "present Root\\VornAudio devnodes")});
  Machine disabled = JournalledMachine();
  DisableDevice(disabled, kRootId);
  const RunResult run = Perform(disabled, WithIdentity(u"hot-activate"));
  ExpectRun(
      run, kExitHotSwapFailed,
      {Err("vorn_devnode: RESULT=HOT_SWAP_FAILED - cannot resolve the live VORN root: present VORN "
           "root is not started cleanly")});
  EXPECT_FALSE(run.Called("DeviceIoControl"));
  EXPECT_FALSE(run.Called("SetupDiCallClassInstaller"));
  EXPECT_EQ(run.CallsOf("SetupDiGetClassDevsW").size(), 1U) << "one look";
}

TEST(HotActivateCommand, DoesNotRestartWhenOneCableCannotBeHiddenAndShowsTheOthers) {
  Machine machine = SelectedMachine();
  RootOf(machine).resident->refusesToHide[{4, 0}] = platform::ERROR_ACCESS_DENIED;
  const RunResult run = Perform(machine, WithIdentity(u"hot-activate"));
  ExpectRun(run, kExitHotSwapFailed,
            {Err("vorn_devnode: could not hide cable 4 render (error 0x00000005)"), kNotQuiesced});
  EXPECT_FALSE(run.Called("SetupDiCallClassInstaller"));
  auto shown = AllRequests("show");
  std::erase(shown, "show 4 render");
  EXPECT_EQ(shown.size(), 19u);
  EXPECT_EQ(VisibilityRequests(run), Joined(AllRequests("hide"), shown));
  EXPECT_EQ(VisibleEndpoints(machine), 20u);
  EXPECT_EQ(ControlRequests(run, "0x226000"), 2u);
  EXPECT_EQ(ControlRequests(run, "0x22A004"), 2u);
}

TEST(HotActivateCommand, DoesNotRestartWhenNoCableCanBeHidden) {
  Machine machine = SelectedMachine();
  for (std::uint32_t cable = 0; cable < 10; ++cable) {
    RootOf(machine).resident->refusesToHide[{cable, 0}] = platform::ERROR_GEN_FAILURE;
    RootOf(machine).resident->refusesToHide[{cable, 1}] = platform::ERROR_GEN_FAILURE;
  }
  const RunResult run = Perform(machine, WithIdentity(u"hot-activate"));
  Console lines;
  for (const char* flow : {"render", "capture"}) {
    for (int cable = 0; cable < 10; ++cable) {
      lines.push_back(Err("vorn_devnode: could not hide cable " + std::to_string(cable) + " " +
                          flow + " (error 0x0000001F)"));
    }
  }
  lines.push_back(kNotQuiesced);
  ExpectRun(run, kExitHotSwapFailed, lines);
  // Nothing is listed, so nothing is shown.
  EXPECT_EQ(VisibilityRequests(run), AllRequests("hide"));
  EXPECT_EQ(ControlRequests(run, "0x226000"), 1u);
}

TEST(HotActivateCommand, DoesNotRestartWithoutTheControlChannelOrTheLease) {
  Machine closed = SelectedMachine();
  for (auto& candidate : RootOf(closed).interfaces) {
    candidate.openError = platform::ERROR_ACCESS_DENIED;
  }
  const RunResult channel = Perform(closed, WithIdentity(u"hot-activate"));
  ExpectRun(channel, kExitHotSwapFailed,
            {Err("vorn_devnode: driver quiesce could not open the device: no openable VORN "
                 "interface on this root (control and KS both failed, last error "
                 "0x00000005)"),
             kNotQuiesced});
  EXPECT_FALSE(channel.Called("SetupDiCallClassInstaller"));

  Machine leased = SelectedMachine();
  RootOf(leased).leaseHeld = true;
  const RunResult lease = Perform(leased, WithIdentity(u"hot-activate"));
  ExpectRun(lease, kExitHotSwapFailed,
            {Err("vorn_devnode: driver quiesce could not acquire the controller lease (error "
                 "0x000000AA)"),
             kNotQuiesced});
  EXPECT_FALSE(lease.Called("SetupDiCallClassInstaller"));
}

TEST(HotActivateCommand, ListsNoEndpointsBeforeTheyAreQuiesced) {
  Machine machine = SelectedMachine();
  RootOf(machine).leaseHeld = true;
  const RunResult run = Perform(machine, WithIdentity(u"hot-activate"));
  EXPECT_EQ(run.status, kExitHotSwapFailed);
  EXPECT_FALSE(run.Called("CM_Get_Child"));
}

TEST(HotActivateCommand, DoesNotRestartAfterAShortLeaseReply) {
  Machine machine = SelectedMachine();
  RootOf(machine).resident->leaseBytes = 8;
  const RunResult run = Perform(machine, WithIdentity(u"hot-activate"));
  EXPECT_EQ(run.status, kExitHotSwapFailed);
  const std::string errors = ToUtf8(run.errorOutput);
  EXPECT_TRUE(
      errors.starts_with("vorn_devnode: driver quiesce could not acquire the controller "
                         "lease (error 0x"))
      << errors;
  EXPECT_TRUE(errors.ends_with(kNotQuiesced.text)) << errors;
  EXPECT_TRUE(VisibilityRequests(run).empty());
  EXPECT_FALSE(run.Called("SetupDiCallClassInstaller"));
}

/// A device that cannot be opened cannot be told to show anything; that is tried and reported
/// twice, before the result and after it.
void ExpectNothingShown(const RunResult& run, const std::string& firstLine) {
  EXPECT_EQ(run.status, kExitHotSwapFailed);
  EXPECT_EQ(ToUtf8(run.output), "");
  const std::string errors = ToUtf8(run.errorOutput);
  EXPECT_TRUE(errors.starts_with(firstLine)) << errors;
  const std::string notOpened = "vorn_devnode: driver quiesce could not open the device: ";
  const std::size_t result = errors.find(kNeedsRestart.text);
  EXPECT_LT(errors.find(notOpened), result) << errors;
  EXPECT_LT(result, errors.rfind(notOpened)) << errors;
}

TEST(HotActivateCommand, SaysThatNothingCouldBeShownWhenTheDeviceVanishes) {
  Machine machine = SelectedMachine();
  RunOptions options;
  options.faults = {ChangeBefore("SetupDiCallClassInstaller", 1,
                                 [](Machine& world) { RemoveDeviceNode(world, kRootId); })};
  const RunResult run = Perform(machine, WithIdentity(u"hot-activate"), options);
  ExpectNothingShown(run,
                     "vorn_devnode: SetupDiCallClassInstaller(hot-swap preflight) failed (error "
                     "0xE000020B)\n");
  EXPECT_TRUE(run.openObjects.empty());
}

TEST(HotActivateCommand, ShowsTheEndpointsWhenARestartOfTheMachineIsWanted) {
  Machine machine = SelectedMachine();
  RootOf(machine).temper.restartNeedsReboot = true;
  const RunResult run = Perform(machine, WithIdentity(u"hot-activate"));
  ExpectRun(run, kExitHotSwapFailed, {kRestartRequested, kNeedsRestart});
  EXPECT_EQ(VisibilityRequests(run), Joined(AllRequests("hide"), AllRequests("show")));
  EXPECT_EQ(VisibleEndpoints(machine), 20u);
  EXPECT_EQ(RootOf(machine).resident->loadedVersion, 0x1A0809u);
}

TEST(HotActivateCommand, TriesAgainAtItsEndToShowWhatCouldNotBeShown) {
  // Cable 2 cannot be shown: all 20 are tried once more when the command ends.
  Machine machine = SelectedMachine();
  RootOf(machine).temper.restartNeedsReboot = true;
  RootOf(machine).resident->refusesToShow[{2, 1}] = platform::ERROR_NOT_READY;
  const RunResult run = Perform(machine, WithIdentity(u"hot-activate"));
  const ConsoleLine notShown =
      Err("vorn_devnode: could not re-show cable 2 capture (error 0x00000015)");
  ExpectRun(run, kExitHotSwapFailed, {kRestartRequested, notShown, kNeedsRestart, notShown});
  EXPECT_EQ(VisibilityRequests(run),
            Joined(AllRequests("hide"), Joined(AllRequests("show"), AllRequests("show"))));
  EXPECT_EQ(VisibleEndpoints(machine), 19u);
}

TEST(HotActivateCommand, ShowsTheRestAtItsEndWhenOnlyTheFirstShowFailed) {
  Machine machine = SelectedMachine();
  RootOf(machine).temper.restartNeedsReboot = true;
  // Requests 1 to 22 are the lease, the hiding and the lease's end; 24 is the first show.
  Fault fault;
  fault.call = "DeviceIoControl";
  fault.first = fault.last = 24;
  fault.error = platform::ERROR_GEN_FAILURE;
  RunOptions options;
  options.faults = {fault};
  const RunResult run = Perform(machine, WithIdentity(u"hot-activate"), options);
  ExpectRun(
      run, kExitHotSwapFailed,
      {kRestartRequested, Err("vorn_devnode: could not re-show cable 0 render (error 0x0000001F)"),
       kNeedsRestart});
  EXPECT_EQ(VisibleEndpoints(machine), 20u);
}

TEST(HotActivateCommand, FailsWhenTheRootDoesNotComeBack) {
  Machine machine = SelectedMachine();
  RootOf(machine).temper.restartProblem = platform::simulated::CM_PROB_FAILED_START;
  const RunResult run = Perform(machine, WithIdentity(u"hot-activate"));
  ExpectNothingShown(run,
                     "vorn_devnode: VORN root did not restart during hot-swap preflight "
                     "(CM_PROB=10)\n");
}

TEST(HotActivateCommand, FailsWhenTheRestartIsRefused) {
  Machine machine = SelectedMachine();
  RootOf(machine).temper.restartError = platform::ERROR_ACCESS_DENIED;
  const RunResult run = Perform(machine, WithIdentity(u"hot-activate"));
  ExpectRun(run, kExitHotSwapFailed,
            {Err("vorn_devnode: SetupDiCallClassInstaller(hot-swap preflight) failed (error "
                 "0x00000005)"),
             kNeedsRestart});
  EXPECT_EQ(VisibleEndpoints(machine), 20u);
}

TEST(HotActivateCommand, IsCaughtByTheResidentCheckWhenTheOldImageStays) {
  Machine machine = SelectedMachine();
  RootOf(machine).resident->refusesUnload = true;
  const RunResult run = Perform(machine, WithIdentity(u"hot-activate"));
  EXPECT_EQ(run.status, kExitEndpointsMissing);
  ASSERT_EQ(ConsoleOf(run).size(), 2u);
  EXPECT_EQ(ConsoleOf(run).front(), kRestartPassed);
  EXPECT_NE(ToUtf8(run.errorOutput).find("resident=RESIDENT IMAGE MISMATCH: driver reports 26.8.9"),
            std::string::npos)
      << ToUtf8(run.errorOutput);
  EXPECT_EQ(VisibleEndpoints(machine), 20u);
}

TEST(HotActivateCommand, WaitsForEndpointsThatComeBackLate) {
  Machine machine = SelectedMachine();
  machine.audio.late = {{0, 0}, {9, 1}};
  machine.audio.lateDelay = 30'000;
  ExpectRun(Perform(machine, WithIdentity(u"hot-activate")), kExitOk,
            {kRestartPassed, ProvenLine(machine)});
}

TEST(HotActivateCommand, ReportsThatSomeEndpointsComeBackWithOtherIds) {
  Machine machine = SelectedMachine();
  machine.audio.remintNext = 3;
  const RunResult run = Perform(machine, WithIdentity(u"hot-activate"));
  EXPECT_EQ(run.status, kExitEndpointsMissing);
  EXPECT_NE(ToUtf8(run.errorOutput)
                .find("mapping=driver update remapped only some MMDevice cable identities; "
                      "present=driver update changed the exact active endpoint set"),
            std::string::npos)
      << ToUtf8(run.errorOutput);
}

// ------------------------------------------------------------------------------------------------

TEST(HotActivateFaults, OfASingleCallNeverHideAnEndpointSilently) {
  Machine sound = SelectedMachine();
  RunResult whole;
  {
    Machine machine = sound;
    whole = RunCommand(machine, WithIdentity(u"hot-activate"));
    ASSERT_EQ(whole.status, kExitOk);
  }
  for (std::uint32_t nth = 1; nth <= whole.callCount; ++nth) {
    Machine machine = sound;
    Fault fault;
    fault.first = fault.last = nth;
    fault.error = static_cast<std::uint32_t>(platform::E_FAIL);
    RunOptions options;
    options.faults = {fault};
    options.logCalls = false;
    const RunResult run = RunCommand(machine, WithIdentity(u"hot-activate"), options);
    const std::string where = whole.calls[nth - 1].name + " " + std::to_string(nth);
    const std::string errors = ToUtf8(run.errorOutput);
    Advance(machine, 60'000);
    if (VisibleEndpoints(machine) != 20) {
      EXPECT_NE(errors.find("could not re-show"), std::string::npos) << where << "\n" << errors;
    }
    const bool mayLackALine = whole.calls[nth - 1].name == "fputws";
    if (run.status == kExitOk) {
      EXPECT_EQ(RootOf(machine).resident->loadedVersion, 0x1A080Au) << where;
      EXPECT_TRUE(mayLackALine || ToUtf8(run.output).find("RESULT=OK") != std::string::npos)
          << where;
    } else {
      EXPECT_EQ(ToUtf8(run.output).find("RESULT=OK"), std::string::npos) << where;
      EXPECT_NE(errors.find("RESULT="), std::string::npos) << where;
    }
    EXPECT_FALSE(RootOf(machine).leaseHeld) << where;
  }
}

}  // namespace
}  // namespace vorn

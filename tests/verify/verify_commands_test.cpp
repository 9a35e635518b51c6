#include "base/text.h"
#include "platform/config_manager.h"
#include "platform/simulated/audio_values.h"
#include "platform/simulated/endpoint_builder.h"
#include "platform/simulated/error_values.h"
#include "tests/support/activation.h"
#include "tests/support/catalog_lists.h"
#include "tests/support/console_lines.h"
#include "tests/support/judged_run.h"
#include "tests/support/machine_view.h"
#include "tests/support/run_command.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace vorn {
namespace {

using platform::simulated::AddRoot;
using platform::simulated::BindPackage;
using platform::simulated::CableFlow;
using platform::simulated::CleanMachine;
using platform::simulated::Fault;
using platform::simulated::FaultKind;
using platform::simulated::InstalledMachine;
using platform::simulated::Machine;
using platform::simulated::OutdatedMachine;
using platform::simulated::PublishPackage;
using platform::simulated::WithdrawEndpoints;
using tests::ChangeBefore;
using tests::Console;
using tests::ConsoleLine;
using tests::ConsoleOf;
using tests::EndpointAt;
using tests::Err;
using tests::ExpectRun;
using tests::FreshTarget;
using tests::kRootId;
using tests::kSampleInf;
using tests::kSampleJournal;
using tests::Out;
using tests::ProvenLine;
using tests::PutJournal;
using tests::RootOf;
using tests::RunCommand;
using tests::RunJudged;
using tests::RunOptions;
using tests::RunResult;
using tests::UpdateTarget;
using tests::VisibleEndpoints;

using Arguments = std::vector<std::u16string>;

const ConsoleLine kMissingJournal = Err("vorn_devnode: activation state missing or unsafe");
const ConsoleLine kVerifyMissing =
    Err("vorn_devnode: RESULT=ENDPOINTS_MISSING - protected activation state is missing or "
        "malformed");
const ConsoleLine kVerifyMismatch =
    Err("vorn_devnode: RESULT=ENDPOINTS_MISSING - journal target does not match protected INF "
        "DriverVer");
const ConsoleLine kActivateMismatch =
    Err("vorn_devnode: RESULT=HOT_SWAP_FAILED - protected activation identity is missing or "
        "mismatched");
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

Arguments Command(const std::u16string& word, const std::u16string& version = u"26.8.10.5",
                  const std::u16string& date = u"08/10/2026") {
  return {word, version, date, kSampleJournal};
}

/// One run, which must keep every promise of its command.
RunResult Perform(Machine& machine, const Arguments& line, const RunOptions& options = {}) {
  const bool verify = EqualsIgnoringCase(line[0], u"verify");
  return RunJudged(machine, verify ? tests::Command::Verify : tests::Command::HotActivate, line,
                   options);
}

/// A machine on which the installed package runs, with its journal in its place.
Machine JournalledMachine() {
  Machine machine = InstalledMachine();
  PutJournal(machine, UpdateTarget(machine));
  return machine;
}

/// The older package runs; the sample package is selected but was not loaded, and its journal has
/// the endpoints as they are for a baseline.
Machine SelectedMachine() {
  Machine machine = OutdatedMachine();
  PutJournal(machine, UpdateTarget(machine));
  const auto published = PublishPackage(machine, kSampleInf, u"Root\\VornAudio");
  EXPECT_TRUE(published.has_value());
  BindPackage(machine, kRootId, *published);
  EXPECT_EQ(RootOf(machine).resident->loadedVersion, 0x1A0809u);
  return machine;
}

/// The visibility requests of a run, as "hide 4 render".
std::vector<std::string> VisibilityRequests(const RunResult& run) {
  std::vector<std::string> requests;
  for (const auto& call : run.CallsOf("DeviceIoControl")) {
    if (call.Argument("controlCode") != "0x22A01C") continue;
    const std::string input = call.Argument("input");  // three little-endian words, in hexadecimal
    EXPECT_EQ(input.size(), 24u);
    requests.push_back((input[17] == '0' ? "hide " : "show ") + input.substr(1, 1) +
                       (input[9] == '0' ? " render" : " capture"));
  }
  return requests;
}

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

std::size_t ControlRequests(const RunResult& run, const std::string& code) {
  const auto calls = run.CallsOf("DeviceIoControl");
  return static_cast<std::size_t>(std::count_if(calls.begin(), calls.end(), [&](const auto& call) {
    return call.Argument("controlCode") == code;
  }));
}

// ------------------------------------------------------------------------------------------------

class IdentityGate : public testing::TestWithParam<const char16_t*> {
 protected:
  /// The command's line for a journal that is missing or malformed, and for one of another package.
  bool IsVerify() const { return std::u16string_view(GetParam()) == u"verify"; }
  ConsoleLine Missing() const { return IsVerify() ? kVerifyMissing : kActivateMismatch; }
  ConsoleLine Mismatch() const { return IsVerify() ? kVerifyMismatch : kActivateMismatch; }
  ExitStatus Refusal() const { return IsVerify() ? kExitEndpointsMissing : kExitHotSwapFailed; }

  /// A refusal looks at no device.
  static void ExpectNoDeviceWasTouched(const RunResult& run) {
    EXPECT_FALSE(run.Called("SetupDiGetClassDevsW"));
    EXPECT_FALSE(run.Called("DeviceIoControl"));
    EXPECT_FALSE(run.Called("OpenSCManagerW"));
  }
};

INSTANTIATE_TEST_SUITE_P(Commands, IdentityGate, testing::Values(u"verify", u"hot-activate"));

TEST_P(IdentityGate, RefusesAMissingJournal) {
  Machine machine = InstalledMachine();
  const RunResult run = Perform(machine, Command(GetParam()));
  ExpectRun(run, Refusal(), {kMissingJournal, Missing()});
  ExpectNoDeviceWasTouched(run);
}

TEST_P(IdentityGate, RefusesAMalformedJournal) {
  // A journal that the writer accepts and the parser refuses: it holds a present id twice.
  Machine machine = InstalledMachine();
  ActivationState state = UpdateTarget(machine);
  state.present.back() = ToLowerAscii(state.present.front());
  PutJournal(machine, state);
  const RunResult run = Perform(machine, Command(GetParam()));
  ExpectRun(run, Refusal(), {Missing()});
  ExpectNoDeviceWasTouched(run);
}

TEST_P(IdentityGate, RefusesAJournalThatOthersMayWrite) {
  Machine machine = JournalledMachine();
  const auto generous = platform::simulated::ParseSddl(u"O:BAD:P(A;;FA;;;SY)(A;;FA;;;WD)");
  ASSERT_TRUE(generous.has_value());
  NodeAt(machine.files, kSampleJournal).security = *generous;
  const RunResult run = Perform(machine, Command(GetParam()));
  ExpectRun(run, Refusal(), {kMissingJournal, Missing()});
  ExpectNoDeviceWasTouched(run);
}

TEST_P(IdentityGate, RefusesAnotherVersionOrDate) {
  Machine machine = JournalledMachine();
  const std::pair<const char16_t*, const char16_t*> expectations[] = {
      {u"26.8.10.6", u"08/10/2026"},  {u"26.8.10.5", u"08/11/2026"}, {u"26.8.10", u"08/10/2026"},
      {u"26.8.10.5", u"8/10/2026"},   {u"", u"08/10/2026"},          {u"26.8.10.5", u""},
      {u"26.8.10.5 ", u"08/10/2026"}, {u"08/10/2026", u"26.8.10.5"}};
  for (const auto& [version, date] : expectations) {
    Machine copy = machine;
    const RunResult run = Perform(copy, Command(GetParam(), version, date));
    ExpectRun(run, Refusal(), {Mismatch()});
    ExpectNoDeviceWasTouched(run);
  }
}

TEST_P(IdentityGate, ComparesDatesAsTexts) {
  Machine machine = InstalledMachine();
  ActivationState state = UpdateTarget(machine);
  state.target.date = u"2026-1-2";
  PutJournal(machine, state);
  ExpectRun(Perform(machine, Command(GetParam(), u"26.8.10.5", u"2026-01-02")), Refusal(),
            {Mismatch()});
}

TEST_P(IdentityGate, IgnoresLetterCase) {
  // No package has such a version; the gate lets it pass and the engine names what is wrong.
  Machine machine = InstalledMachine();
  ActivationState state = UpdateTarget(machine);
  state.target.version = u"26.8.10.5-Beta";
  state.target.date = u"aug 10";
  PutJournal(machine, state);
  const RunResult run = Perform(machine, Command(GetParam(), u"26.8.10.5-bETA", u"AUG 10"));
  EXPECT_EQ(run.status, kExitEndpointsMissing);
  EXPECT_NE(ToUtf8(run.errorOutput)
                .find("package=live root is bound to the wrong driver version; kernel=; "
                      "resident=expected driver version is not an exact four-part DriverVer; "),
            std::string::npos)
      << ToUtf8(run.errorOutput);
}

// ------------------------------------------------------------------------------------------------

TEST(VerifyCommand, ProvesTheMachineAgainstItsJournal) {
  Machine machine = JournalledMachine();
  ExpectRun(Perform(machine, Command(u"verify")), kExitOk, {ProvenLine(machine)});
}

TEST(VerifyCommand, ProvesAFreshInstall) {
  Machine machine = InstalledMachine();
  PutJournal(machine, FreshTarget(machine));
  ExpectRun(Perform(machine, Command(u"VERIFY")), kExitOk, {ProvenLine(machine)});
}

TEST(VerifyCommand, LetsARealUpdateRemintEveryId) {
  // That a package did not change is never part of a journal.
  Machine machine = InstalledMachine();
  ActivationState state = UpdateTarget(machine);
  for (CatalogEndpoint& endpoint : state.catalog)
    endpoint.endpointId += u"-old";
  PutJournal(machine, state);
  ExpectRun(Perform(machine, Command(u"verify")), kExitOk, {ProvenLine(machine)});
}

TEST(VerifyCommand, ReportsADeviceThatIsNotStarted) {
  Machine machine = JournalledMachine();
  DisableDevice(machine, kRootId);
  ExpectRun(
      Perform(machine, Command(u"verify")), kExitNotStarted,
      {Err("vorn_devnode: RESULT=NOT_STARTED - devnode did not reach DN_STARTED (problem=22)")});
}

TEST(VerifyCommand, ReportsWhatIsMissing) {
  Machine machine = InstalledMachine();
  ActivationState state = UpdateTarget(machine);
  EndpointAt(state.catalog, 5, true).active = false;
  PutJournal(machine, state);
  ExpectRun(
      Perform(machine, Command(u"verify")), kExitEndpointsMissing,
      {Err("vorn_devnode: RESULT=ENDPOINTS_MISSING - root=healthy; package=; kernel=; "
           "resident=proven; catalog=healthy; mapping=driver update activated an endpoint the user "
           "had not claimed; present= (catalog=20, active=20, present-pnp=20)")});
}

TEST(VerifyCommand, FindsThatAnotherImageIsResident) {
  Machine machine = SelectedMachine();
  const RunResult run = Perform(machine, Command(u"verify"));
  ExpectRun(
      run, kExitEndpointsMissing,
      {Err("vorn_devnode: RESULT=ENDPOINTS_MISSING - root=healthy; package=; kernel=; "
           "resident=RESIDENT IMAGE MISMATCH: driver reports 26.8.9 (0x001A0809) but the package "
           "being activated is 26.8.10.5. PnP metadata is not proof -- the devnode restart did not "
           "load the new image.; catalog=healthy; mapping=; present= (catalog=20, active=20, "
           "present-pnp=20)")});
}

TEST(VerifyCommand, ChangesNoDeviceDriverOrFile) {
  Machine machine = JournalledMachine();
  const RunResult run = Perform(machine, Command(u"verify"));
  for (const char* call : {"SetupDiCallClassInstaller", "SetupDiSetClassInstallParamsW",
                           "UpdateDriverForPlugAndPlayDevicesW", "SetupUninstallOEMInfW",
                           "WriteFile", "SetFileInformationByHandle",
                           "CM_Query_And_Remove_SubTreeW", "NtDeleteKey", "CreateDirectoryW"}) {
    EXPECT_FALSE(run.Called(call)) << call;
  }
  EXPECT_TRUE(VisibilityRequests(run).empty());
  EXPECT_EQ(ControlRequests(run, "0x226000"), 0u);
  // The journal is still there for the next run.
  ExpectRun(Perform(machine, Command(u"verify")), kExitOk, {ProvenLine(machine)});
}

// ------------------------------------------------------------------------------------------------

TEST(HotActivateCommand, LoadsTheSelectedDriverAndProvesIt) {
  Machine machine = SelectedMachine();
  const RunResult run = Perform(machine, Command(u"hot-activate"));
  ExpectRun(run, kExitOk, {kRestartPassed, ProvenLine(machine)});
  EXPECT_EQ(RootOf(machine).resident->loadedVersion, 0x1A080Au);
  EXPECT_EQ(VisibleEndpoints(machine), 20u);
  // What was hidden is forgotten: the restarted driver shows it by itself.
  EXPECT_EQ(VisibilityRequests(run), AllRequests("hide"));
  EXPECT_EQ(ControlRequests(run, "0x22A004"), 1u);
  // The verify command agrees.
  ExpectRun(Perform(machine, Command(u"verify")), kExitOk, {ProvenLine(machine)});
}

TEST(HotActivateCommand, HidesBeforeItRestarts) {
  Machine machine = SelectedMachine();
  const RunResult run = Perform(machine, Command(u"hot-activate"));
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
  const RunResult run = Perform(machine, Command(u"hot-activate"));
  EXPECT_EQ(run.status, kExitOk) << ToUtf8(run.errorOutput);
  EXPECT_EQ(VisibleEndpoints(machine), 19u);
}

TEST(HotActivateCommand, RefusesWithoutALiveRoot) {
  Machine machine = JournalledMachine();
  RemoveDeviceNode(machine, kRootId);
  ExpectRun(
      Perform(machine, Command(u"hot-activate")), kExitHotSwapFailed,
      {Err("vorn_devnode: RESULT=HOT_SWAP_FAILED - cannot resolve the live VORN root: no present "
           "Root\\VornAudio devnode")});
}

TEST(HotActivateCommand, RefusesARootThatIsNotTheOnlyOneOrNotStarted) {
  Machine two = JournalledMachine();
  AddRoot(two, u"ROOT\\MEDIA\\0001");
  ExpectRun(
      Perform(two, Command(u"hot-activate")), kExitHotSwapFailed,
      {Err("vorn_devnode: RESULT=HOT_SWAP_FAILED - cannot resolve the live VORN root: multiple "
           "present Root\\VornAudio devnodes")});
  Machine disabled = JournalledMachine();
  DisableDevice(disabled, kRootId);
  const RunResult run = Perform(disabled, Command(u"hot-activate"));
  ExpectRun(
      run, kExitHotSwapFailed,
      {Err("vorn_devnode: RESULT=HOT_SWAP_FAILED - cannot resolve the live VORN root: present VORN "
           "root is not started cleanly")});
  EXPECT_FALSE(run.Called("DeviceIoControl"));
  EXPECT_FALSE(run.Called("SetupDiCallClassInstaller"));
}

TEST(HotActivateCommand, DoesNotRestartWhenOneCableCannotBeHiddenAndShowsTheOthers) {
  Machine machine = SelectedMachine();
  RootOf(machine).resident->refusesToHide[{4, 0}] = platform::ERROR_ACCESS_DENIED;
  const RunResult run = Perform(machine, Command(u"hot-activate"));
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
  const RunResult run = Perform(machine, Command(u"hot-activate"));
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
  const RunResult channel = Perform(closed, Command(u"hot-activate"));
  ExpectRun(channel, kExitHotSwapFailed,
            {Err("vorn_devnode: driver quiesce could not open the device: no openable VORN "
                 "interface on this root (control and KS both failed, last error "
                 "0x00000005)"),
             kNotQuiesced});
  EXPECT_FALSE(channel.Called("SetupDiCallClassInstaller"));

  Machine leased = SelectedMachine();
  RootOf(leased).leaseHeld = true;
  const RunResult lease = Perform(leased, Command(u"hot-activate"));
  ExpectRun(lease, kExitHotSwapFailed,
            {Err("vorn_devnode: driver quiesce could not acquire the controller lease (error "
                 "0x000000AA)"),
             kNotQuiesced});
  EXPECT_FALSE(lease.Called("SetupDiCallClassInstaller"));
}

TEST(HotActivateCommand, ListsNoEndpointsBeforeTheyAreQuiesced) {
  Machine machine = SelectedMachine();
  RootOf(machine).leaseHeld = true;
  const RunResult run = Perform(machine, Command(u"hot-activate"));
  EXPECT_EQ(run.status, kExitHotSwapFailed);
  EXPECT_FALSE(run.Called("CM_Get_Child"));
}

TEST(HotActivateCommand, DoesNotRestartAfterAShortLeaseReply) {
  Machine machine = SelectedMachine();
  RootOf(machine).resident->leaseBytes = 8;
  const RunResult run = Perform(machine, Command(u"hot-activate"));
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

TEST(HotActivateCommand, SaysThatNothingCouldBeShownWhenTheDeviceVanishes) {
  Machine machine = SelectedMachine();
  RunOptions options;
  options.faults = {ChangeBefore("SetupDiCallClassInstaller", 1,
                                 [](Machine& world) { RemoveDeviceNode(world, kRootId); })};
  const RunResult run = Perform(machine, Command(u"hot-activate"), options);
  EXPECT_EQ(run.status, kExitHotSwapFailed);
  EXPECT_EQ(ToUtf8(run.output), "");
  const std::string errors = ToUtf8(run.errorOutput);
  EXPECT_TRUE(
      errors.starts_with("vorn_devnode: SetupDiCallClassInstaller(hot-swap preflight) "
                         "failed (error 0x"))
      << errors;
  const std::string notOpened = "vorn_devnode: driver quiesce could not open the device: ";
  EXPECT_LT(errors.find(notOpened), errors.find(kNeedsRestart.text)) << errors;
  EXPECT_LT(errors.find(kNeedsRestart.text), errors.rfind(notOpened)) << errors;
  EXPECT_TRUE(run.openObjects.empty());
}

TEST(HotActivateCommand, ShowsTheEndpointsWhenARestartOfTheMachineIsWanted) {
  Machine machine = SelectedMachine();
  RootOf(machine).temper.restartNeedsReboot = true;
  const RunResult run = Perform(machine, Command(u"hot-activate"));
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
  const RunResult run = Perform(machine, Command(u"hot-activate"));
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
  const RunResult run = Perform(machine, Command(u"hot-activate"), options);
  ExpectRun(
      run, kExitHotSwapFailed,
      {kRestartRequested, Err("vorn_devnode: could not re-show cable 0 render (error 0x0000001F)"),
       kNeedsRestart});
  EXPECT_EQ(VisibleEndpoints(machine), 20u);
}

TEST(HotActivateCommand, FailsWhenTheRootDoesNotComeBack) {
  Machine machine = SelectedMachine();
  RootOf(machine).temper.restartProblem = platform::simulated::CM_PROB_FAILED_START;
  const RunResult run = Perform(machine, Command(u"hot-activate"));
  EXPECT_EQ(run.status, kExitHotSwapFailed);
  EXPECT_EQ(ToUtf8(run.output), "");
  const std::string errors = ToUtf8(run.errorOutput);
  EXPECT_TRUE(
      errors.starts_with("vorn_devnode: VORN root did not restart during hot-swap "
                         "preflight (CM_PROB=10)\n"))
      << errors;
  // A stopped driver cannot be told to show anything; that is tried and reported twice.
  const std::string notOpened = "vorn_devnode: driver quiesce could not open the device: ";
  const std::size_t first = errors.find(notOpened);
  const std::size_t result = errors.find(kNeedsRestart.text);
  const std::size_t second = errors.rfind(notOpened);
  EXPECT_LT(first, result) << errors;
  EXPECT_LT(result, second) << errors;
}

TEST(HotActivateCommand, FailsWhenTheRestartIsRefused) {
  Machine machine = SelectedMachine();
  RootOf(machine).temper.restartError = platform::ERROR_ACCESS_DENIED;
  const RunResult run = Perform(machine, Command(u"hot-activate"));
  ExpectRun(run, kExitHotSwapFailed,
            {Err("vorn_devnode: SetupDiCallClassInstaller(hot-swap preflight) failed (error "
                 "0x00000005)"),
             kNeedsRestart});
  EXPECT_EQ(VisibleEndpoints(machine), 20u);
}

TEST(HotActivateCommand, IsCaughtByTheResidentCheckWhenTheOldImageStays) {
  Machine machine = SelectedMachine();
  RootOf(machine).resident->refusesUnload = true;
  const RunResult run = Perform(machine, Command(u"hot-activate"));
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
  ExpectRun(Perform(machine, Command(u"hot-activate")), kExitOk,
            {kRestartPassed, ProvenLine(machine)});
}

TEST(HotActivateCommand, ReportsThatSomeEndpointsComeBackWithOtherIds) {
  Machine machine = SelectedMachine();
  machine.audio.remintNext = 3;
  const RunResult run = Perform(machine, Command(u"hot-activate"));
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
    whole = RunCommand(machine, Command(u"hot-activate"));
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
    const RunResult run = RunCommand(machine, Command(u"hot-activate"), options);
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

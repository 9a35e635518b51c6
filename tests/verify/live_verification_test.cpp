#include "verify/live_verification.h"

#include "base/format.h"
#include "base/text.h"
#include "platform/audio_endpoints.h"
#include "platform/simulated/endpoint_builder.h"
#include "tests/support/activation.h"
#include "tests/support/catalog_lists.h"

#include <gtest/gtest.h>
#include <set>

namespace vorn {
namespace {

using platform::simulated::AddRoot;
using platform::simulated::AudioEndpoint;
using platform::simulated::CableFlow;
using platform::simulated::CleanMachine;
using platform::simulated::Device;
using platform::simulated::EventKind;
using platform::simulated::Fault;
using platform::simulated::FaultKind;
using platform::simulated::FindEndpoint;
using platform::simulated::InstalledMachine;
using platform::simulated::LoseEndpoint;
using platform::simulated::Machine;
using platform::simulated::Plan;
using platform::simulated::RemoveDeviceNode;
using platform::simulated::StopDevice;
using platform::simulated::StopService;
using platform::simulated::WithdrawEndpoints;
using tests::ChangeBefore;
using tests::EndpointAt;
using tests::EngineRun;
using tests::FreshTarget;
using tests::kRootId;
using tests::ProvenLine;
using tests::RootOf;
using tests::RunEngine;
using tests::UpdateTarget;

constexpr std::uint32_t kStartWaitPauseMs = 500;
constexpr std::uint32_t kPollPauseMs = 2'000;
constexpr std::uint64_t kStartBudgetMs = 20'000;
constexpr std::uint64_t kProofBudgetMs = 90'000;
// Polls at 0, 2000, ... 90000.
constexpr std::size_t kPausesOfAFailedRun = 45;

/// The observations of an ENDPOINTS_MISSING line; the defaults are those of a proven machine.
struct Fields {
  std::string root = "healthy";
  std::string package;
  std::string kernel;
  std::string resident = "proven";
  std::string catalog = "healthy";
  std::string mapping;
  std::string present;
  int catalogCount = 20;
  int activeCount = 20;
  int presentCount = 20;
};

std::string MissingLine(const Fields& fields) {
  return "vorn_devnode: RESULT=ENDPOINTS_MISSING - root=" + fields.root +
         "; package=" + fields.package + "; kernel=" + fields.kernel +
         "; resident=" + fields.resident + "; catalog=" + fields.catalog +
         "; mapping=" + fields.mapping + "; present=" + fields.present +
         " (catalog=" + std::to_string(fields.catalogCount) +
         ", active=" + std::to_string(fields.activeCount) +
         ", present-pnp=" + std::to_string(fields.presentCount) + ")\n";
}

/// A line on which nothing but the root was ever observed.
std::string NothingObservedLine(const std::string& rootReason, int presentCount) {
  Fields fields;
  fields.root = rootReason;
  fields.package = "live bound driver package not observed";
  fields.kernel = "live kernel endpoint pool not observed";
  fields.resident = "resident driver image not yet proven";
  fields.catalog = "";
  fields.mapping = "MMDevice catalog transition not observed";
  fields.present = "present AudioEndpoint transition not observed";
  fields.catalogCount = 0;
  fields.activeCount = 0;
  fields.presentCount = presentCount;
  return MissingLine(fields);
}

void ExpectNothingLeft(const EngineRun& run) {
  EXPECT_TRUE(run.openObjects.empty());
  EXPECT_EQ(run.apartments, 0);
}

void ExpectProven(Machine& machine, const EngineRun& run) {
  EXPECT_EQ(run.status, kExitOk);
  EXPECT_EQ(ToUtf8(run.output), ProvenLine(machine));
  EXPECT_EQ(ToUtf8(run.errorOutput), "");
  ExpectNothingLeft(run);
}

/// A run that looked until the deadline and said this.
void ExpectMissing(const EngineRun& run, const std::string& line) {
  EXPECT_EQ(run.status, kExitEndpointsMissing);
  EXPECT_EQ(ToUtf8(run.output), "");
  EXPECT_EQ(ToUtf8(run.errorOutput), line);
  EXPECT_EQ(run.Sleeps(kPollPauseMs), kPausesOfAFailedRun);
  ExpectNothingLeft(run);
}

/// Removes the root while the run is at that look for it; the start wait's is the first.
Fault RootVanishesAtLook(std::uint32_t look) {
  return ChangeBefore("SetupDiGetClassDevsW", look,
                      [](Machine& machine) { RemoveDeviceNode(machine, kRootId); });
}

/// Breaks the listing of the catalog from that look on.
Fault CatalogBreaksAtListing(std::uint32_t listing) {
  return ChangeBefore("CoInitializeEx", listing,
                      [](Machine& machine) { machine.audio.enumError = platform::E_FAIL; });
}

// ------------------------------------------------------------------------------------------------

TEST(LiveVerification, ProvesASoundMachineAtTheFirstPollWithoutAPause) {
  Machine machine = InstalledMachine();
  for (const ActivationState& state : {FreshTarget(machine), UpdateTarget(machine)}) {
    const EngineRun run = RunEngine(machine, state);
    ExpectProven(machine, run);
    EXPECT_EQ(run.CountOf("Sleep"), 0u);
    EXPECT_EQ(run.duration, 0u);
  }
}

TEST(LiveVerification, NamesTheDateBeforeTheVersion) {
  Machine machine = InstalledMachine();
  const EngineRun run = RunEngine(machine, FreshTarget(machine));
  EXPECT_NE(run.output.find(u"package=08/10/2026 26.8.10.5 (oem"), std::u16string::npos);
}

TEST(LiveVerification, CountsActiveAndPresentEndpoints) {
  Machine machine = InstalledMachine();
  for (const CableFlow& cable : {CableFlow{2, 0}, CableFlow{2, 1}, CableFlow{7, 1}}) {
    SetEndpointDisabled(machine, FindEndpoint(machine, kRootId, cable)->id, true);
  }
  const EngineRun run = RunEngine(machine, UpdateTarget(machine));
  EXPECT_EQ(run.status, kExitOk);
  EXPECT_EQ(ToUtf8(run.output), ProvenLine(machine, 17, 17));
}

// ------------------------------------------------------------------------------------------------
// The audio services.

TEST(LiveVerificationServices, AreStartedInOrderAndGivenBack) {
  Machine machine = InstalledMachine();
  const ActivationState state = FreshTarget(machine);
  for (const VerificationMode mode : {VerificationMode::Reporting, VerificationMode::Quick}) {
    const EngineRun run = RunEngine(machine, state, mode);
    const std::vector<std::string> expected = {
        "OpenSCManagerW", "OpenServiceW",  "StartServiceW",      "CloseServiceHandle",
        "OpenServiceW",   "StartServiceW", "CloseServiceHandle", "CloseServiceHandle"};
    ASSERT_GT(run.calls.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
      EXPECT_EQ(run.calls[i].name, expected[i]) << i;
    }
    EXPECT_EQ(run.calls[0].Argument("desiredAccess"), "0x1");
    EXPECT_EQ(run.calls[1].Argument("name"), "AudioEndpointBuilder");
    EXPECT_EQ(run.calls[1].Argument("desiredAccess"), "0x10");
    EXPECT_EQ(run.calls[4].Argument("name"), "Audiosrv");
    EXPECT_EQ(run.calls[4].Argument("desiredAccess"), "0x10");
    EXPECT_EQ(run.CountOf("OpenSCManagerW"), 1u);
  }
}

TEST(LiveVerificationServices, AreStartedInEitherMode) {
  for (const VerificationMode mode : {VerificationMode::Reporting, VerificationMode::Quick}) {
    Machine machine = InstalledMachine();
    const ActivationState state = FreshTarget(machine);
    StopService(machine, u"Audiosrv");
    StopService(machine, u"AudioEndpointBuilder");
    RunEngine(machine, state, mode);
    EXPECT_TRUE(IsRunning(machine, u"AudioEndpointBuilder"));
    EXPECT_TRUE(IsRunning(machine, u"Audiosrv"));
  }
}

TEST(LiveVerificationServices, AreNoConcernWhenTheyCannotBeStarted) {
  const std::pair<const char*, std::uint32_t> failures[] = {{"OpenSCManagerW", 1},
                                                            {"OpenServiceW", 1},
                                                            {"OpenServiceW", 2},
                                                            {"StartServiceW", 1},
                                                            {"StartServiceW", 2}};
  for (const auto& [call, nth] : failures) {
    Machine machine = InstalledMachine();
    const ActivationState state = FreshTarget(machine);
    Fault fault;
    fault.call = call;
    fault.first = fault.last = nth;
    fault.error = platform::ERROR_ACCESS_DENIED;
    ExpectProven(machine, RunEngine(machine, state, VerificationMode::Reporting, {fault}));
  }
}

TEST(LiveVerificationServices, AreTriedEachForItself) {
  Machine machine = InstalledMachine();
  const ActivationState state = FreshTarget(machine);
  machine.services.erase(u"AudioEndpointBuilder");
  const EngineRun run = RunEngine(machine, state, VerificationMode::Quick);
  EXPECT_EQ(run.CountOf("OpenServiceW"), 2u);
  EXPECT_EQ(run.CountOf("StartServiceW"), 1u);
  EXPECT_EQ(run.CountOf("CloseServiceHandle"), 2u);
}

TEST(LiveVerificationServices, AreNotTouchedWithoutAManager) {
  Machine machine = InstalledMachine();
  const ActivationState state = FreshTarget(machine);
  machine.serviceManagerError = platform::ERROR_ACCESS_DENIED;
  const EngineRun run = RunEngine(machine, state);
  EXPECT_EQ(run.CountOf("OpenServiceW"), 0u);
  EXPECT_EQ(run.CountOf("CloseServiceHandle"), 0u);
}

// ------------------------------------------------------------------------------------------------
// The start wait.

TEST(LiveVerificationStart, GivesUpAfterTwentySeconds) {
  Machine machine = InstalledMachine();
  const ActivationState state = FreshTarget(machine);
  DisableDevice(machine, kRootId);
  const EngineRun run = RunEngine(machine, state);
  EXPECT_EQ(run.status, kExitNotStarted);
  EXPECT_EQ(ToUtf8(run.output), "");
  EXPECT_EQ(ToUtf8(run.errorOutput),
            "vorn_devnode: RESULT=NOT_STARTED - devnode did not reach DN_STARTED (problem=22)\n");
  EXPECT_EQ(run.duration, kStartBudgetMs);
  EXPECT_EQ(run.Sleeps(kStartWaitPauseMs), kStartBudgetMs / kStartWaitPauseMs);
  EXPECT_EQ(run.Sleeps(kPollPauseMs), 0u);
  EXPECT_EQ(run.CountOf("CoInitializeEx"), 0u);
  ExpectNothingLeft(run);
}

TEST(LiveVerificationStart, HasNoProblemCodeWithoutARoot) {
  Machine machine = CleanMachine();
  const EngineRun run = RunEngine(machine, FreshTarget(machine));
  EXPECT_EQ(run.status, kExitNotStarted);
  EXPECT_EQ(ToUtf8(run.errorOutput),
            "vorn_devnode: RESULT=NOT_STARTED - devnode did not reach DN_STARTED (problem=0)\n");
}

TEST(LiveVerificationStart, LooksOnceInQuickModeAndSaysNothing) {
  Machine machine = CleanMachine();
  const EngineRun run = RunEngine(machine, FreshTarget(machine), VerificationMode::Quick);
  EXPECT_EQ(run.status, kExitNotStarted);
  EXPECT_EQ(ToUtf8(run.output + run.errorOutput), "");
  EXPECT_EQ(run.CountOf("Sleep"), 0u);
  EXPECT_EQ(run.CountOf("SetupDiGetClassDevsW"), 1u);
  ExpectNothingLeft(run);
}

TEST(LiveVerificationStart, LooksALastTimeWhenTheBudgetIsSpent) {
  for (const auto& [delay, status] :
       {std::pair{kStartBudgetMs, kExitOk}, std::pair{kStartBudgetMs + 1, kExitNotStarted}}) {
    Machine machine = InstalledMachine();
    const ActivationState state = FreshTarget(machine);
    StopDevice(machine, kRootId);
    Plan(machine, delay, EventKind::StartDevice, kRootId);
    EXPECT_EQ(RunEngine(machine, state).status, status) << delay;
  }
}

TEST(LiveVerificationStart, DoesNotCountAgainstTheNinetySeconds) {
  Machine machine = InstalledMachine();
  const ActivationState state = FreshTarget(machine);
  machine.audio.neverPublished = {{4, 0}};
  StopDevice(machine, kRootId);
  constexpr std::uint64_t kStartDelay = 15'000;
  Plan(machine, kStartDelay, EventKind::StartDevice, kRootId);
  const EngineRun run = RunEngine(machine, state);
  EXPECT_EQ(run.Sleeps(kStartWaitPauseMs), kStartDelay / kStartWaitPauseMs);
  EXPECT_EQ(run.duration, kStartDelay + kProofBudgetMs);
  Fields fields;
  fields.mapping = "MMDevice catalog has the wrong VORN endpoint count";
  fields.catalogCount = fields.activeCount = fields.presentCount = 19;
  ExpectMissing(run, MissingLine(fields));
}

// ------------------------------------------------------------------------------------------------
// The polls.

TEST(LiveVerificationPolls, StopWhenTheEndpointsHaveSettled) {
  for (const std::uint64_t delay : {1ull, 2'000ull, 2'001ull, 5'000ull, 89'999ull, 90'000ull}) {
    Machine machine = InstalledMachine();
    const ActivationState state = UpdateTarget(machine);
    WithdrawEndpoints(machine, kRootId);
    Plan(machine, delay, EventKind::PublishEndpoints, kRootId);
    const EngineRun run = RunEngine(machine, state);
    ExpectProven(machine, run);
    EXPECT_EQ(run.Sleeps(kPollPauseMs), (delay + kPollPauseMs - 1) / kPollPauseMs) << delay;
  }
}

TEST(LiveVerificationPolls, StopAtTheDeadline) {
  Machine machine = InstalledMachine();
  const ActivationState state = UpdateTarget(machine);
  WithdrawEndpoints(machine, kRootId);
  Plan(machine, kProofBudgetMs + 1, EventKind::PublishEndpoints, kRootId);
  const EngineRun run = RunEngine(machine, state);
  EXPECT_EQ(run.duration, kProofBudgetMs);
  EXPECT_EQ(run.CountOf("CoInitializeEx"), kPausesOfAFailedRun + 1);
  Fields fields;
  fields.mapping = "MMDevice catalog has the wrong VORN endpoint count";
  fields.catalogCount = fields.activeCount = fields.presentCount = 0;
  ExpectMissing(run, MissingLine(fields));
}

TEST(LiveVerificationPolls, HappenAtTheseTicks) {
  Machine machine = InstalledMachine();
  const ActivationState state = UpdateTarget(machine);
  RootOf(machine).resident->revision = 9;
  const std::uint64_t begin = machine.clock.tick;
  const EngineRun run = RunEngine(machine, state);
  std::vector<std::uint64_t> ticks;
  for (const auto& call : run.calls) {
    if (call.name == "CoInitializeEx") ticks.push_back(call.tick - begin);
  }
  ASSERT_EQ(ticks.size(), kPausesOfAFailedRun + 1);
  for (std::size_t i = 0; i < ticks.size(); ++i) {
    EXPECT_EQ(ticks[i], i * kPollPauseMs);
  }
}

TEST(LiveVerificationPolls, EndWithTheOneThatOutlastedTheDeadline) {
  Machine machine = InstalledMachine();
  const ActivationState state = UpdateTarget(machine);
  RootOf(machine).resident->revision = 9;
  Fault slow;
  slow.call = "CoCreateInstance";
  slow.kind = FaultKind::TakeTime;
  slow.amount = kProofBudgetMs;
  const EngineRun run = RunEngine(machine, state, VerificationMode::Reporting, {slow});
  EXPECT_EQ(run.status, kExitEndpointsMissing);
  EXPECT_EQ(run.CountOf("Sleep"), 0u);
  EXPECT_EQ(run.CountOf("CoInitializeEx"), 1u);
}

TEST(LiveVerificationPolls, AProofThatComesAfterTheDeadlineCounts) {
  Machine machine = InstalledMachine();
  const ActivationState state = UpdateTarget(machine);
  Fault slow;
  slow.call = "CoCreateInstance";
  slow.kind = FaultKind::TakeTime;
  slow.amount = kProofBudgetMs + 1;
  ExpectProven(machine, RunEngine(machine, state, VerificationMode::Reporting, {slow}));
}

TEST(LiveVerificationPolls, AreOneInQuickModeAndSilent) {
  Machine machine = InstalledMachine();
  const ActivationState state = UpdateTarget(machine);
  const EngineRun proven = RunEngine(machine, state, VerificationMode::Quick);
  EXPECT_EQ(proven.status, kExitOk);
  EXPECT_EQ(ToUtf8(proven.output + proven.errorOutput), "");
  ExpectNothingLeft(proven);

  WithdrawEndpoints(machine, kRootId);
  Plan(machine, 1, EventKind::PublishEndpoints, kRootId);
  const EngineRun unsettled = RunEngine(machine, state, VerificationMode::Quick);
  EXPECT_EQ(unsettled.status, kExitEndpointsMissing);
  EXPECT_EQ(ToUtf8(unsettled.output + unsettled.errorOutput), "");
  EXPECT_EQ(unsettled.CountOf("Sleep"), 0u);
  EXPECT_EQ(unsettled.CountOf("CoInitializeEx"), 1u);
  ExpectNothingLeft(unsettled);
}

// ------------------------------------------------------------------------------------------------
// What is observed, and what keeps its last value.

TEST(LiveVerificationObservations, KeepTheirStartingReasonsWhileTheRootIsMissing) {
  Machine machine = InstalledMachine();
  const ActivationState state = UpdateTarget(machine);
  const EngineRun run =
      RunEngine(machine, state, VerificationMode::Reporting, {RootVanishesAtLook(2)});
  ExpectMissing(run, NothingObservedLine("no present Root\\VornAudio devnode", 0));
  EXPECT_EQ(run.CountOf("CoInitializeEx"), 0u);
  EXPECT_EQ(run.CountOf("DeviceIoControl"), 0u);
}

TEST(LiveVerificationObservations, CountTheChildrenOfARootThatIsNotOk) {
  Machine machine = InstalledMachine();
  const ActivationState state = UpdateTarget(machine);
  AddRoot(machine, u"ROOT\\MEDIA\\0001");
  ExpectMissing(RunEngine(machine, state),
                NothingObservedLine("multiple present Root\\VornAudio devnodes", 20));
}

TEST(LiveVerificationObservations, KeepTheirLastValuesWhenTheRootVanishes) {
  Machine machine = InstalledMachine();
  const ActivationState state = UpdateTarget(machine);
  RootOf(machine).resident->revision = 9;
  const EngineRun run = RunEngine(
      machine, state, VerificationMode::Reporting,
      {ChangeBefore("Sleep", 1, [](Machine& world) { RemoveDeviceNode(world, kRootId); })});
  Fields fields;
  fields.root = "no present Root\\VornAudio devnode";
  fields.resident =
      "RESIDENT IMAGE/ABI MISMATCH: loaded DriverVer is 26.8.10.9 but the activated package is "
      "26.8.10.5; resident driver ABI/capability handshake does not match the activated package";
  fields.presentCount = 0;
  ExpectMissing(run, MissingLine(fields));
  EXPECT_EQ(run.CountOf("CoInitializeEx"), 1u);
}

TEST(LiveVerificationObservations, KeepOfTheMappingItsStartingReasonWhileTheCatalogFails) {
  Machine machine = InstalledMachine();
  const ActivationState state = UpdateTarget(machine);
  machine.audio.enumError = platform::E_FAIL;
  Fields fields;
  fields.catalog = "MMDevice catalog enumeration was incomplete";
  fields.mapping = "MMDevice catalog transition not observed";
  fields.catalogCount = fields.activeCount = 0;
  ExpectMissing(RunEngine(machine, state), MissingLine(fields));
}

TEST(LiveVerificationObservations, KeepOfTheMappingItsLastValueWhenTheCatalogFailsLater) {
  Machine machine = InstalledMachine();
  ActivationState state = UpdateTarget(machine);
  EndpointAt(state.catalog, 3, true).active = false;
  Fields fields;
  fields.catalog = "MMDevice catalog enumeration was incomplete";
  fields.mapping = "driver update activated an endpoint the user had not claimed";
  fields.catalogCount = fields.activeCount = 0;
  ExpectMissing(RunEngine(machine, state, VerificationMode::Reporting, {CatalogBreaksAtListing(2)}),
                MissingLine(fields));
}

TEST(LiveVerificationObservations, CountWhatAnInconsistentCatalogHolds) {
  Machine machine = InstalledMachine();
  const ActivationState state = UpdateTarget(machine);
  AudioEndpoint doubled = *FindEndpoint(machine, kRootId, CableFlow{0, 0});
  doubled.id += u"-doubled";
  doubled.state = platform::DEVICE_STATE_DISABLED;
  machine.audio.endpoints.push_back(doubled);
  Fields fields;
  fields.catalog = "MMDevice catalog has too many VORN endpoints";
  fields.mapping = "MMDevice catalog transition not observed";
  fields.catalogCount = 21;
  ExpectMissing(RunEngine(machine, state), MissingLine(fields));
}

TEST(LiveVerificationObservations, MustAllHoldInOnePoll) {
  // The resident image is right only when the root is in view at odd polls, the catalog at even.
  Machine machine = InstalledMachine();
  const ActivationState state = UpdateTarget(machine);
  std::vector<Fault> faults;
  for (std::uint32_t sleep = 1; sleep <= kPausesOfAFailedRun; ++sleep) {
    faults.push_back(ChangeBefore("Sleep", sleep, [sleep](Machine& world) {
      RootOf(world).resident->revision = sleep % 2 == 0 ? 9 : 5;
      world.audio.enumError = sleep % 2 == 0 ? platform::S_OK : platform::E_FAIL;
    }));
  }
  RootOf(machine).resident->revision = 9;
  const EngineRun run = RunEngine(machine, state, VerificationMode::Reporting, faults);
  EXPECT_EQ(run.status, kExitEndpointsMissing);
  EXPECT_EQ(run.Sleeps(kPollPauseMs), kPausesOfAFailedRun);
}

// ------------------------------------------------------------------------------------------------
// Each observation by itself.

struct Broken {
  const char* name;
  std::function<void(Machine&, ActivationState&)> damage;
  Fields fields;
};

class BrokenObservation : public testing::TestWithParam<Broken> {};

TEST_P(BrokenObservation, IsNamedAndTheOthersHold) {
  Machine machine = InstalledMachine();
  ActivationState state = UpdateTarget(machine);
  GetParam().damage(machine, state);
  Machine sameMachine = machine;
  ExpectMissing(RunEngine(machine, state), MissingLine(GetParam().fields));
  const EngineRun quick = RunEngine(sameMachine, state, VerificationMode::Quick);
  EXPECT_EQ(quick.status, kExitEndpointsMissing) << GetParam().name;
  EXPECT_EQ(ToUtf8(quick.output + quick.errorOutput), "") << GetParam().name;
}

Fields With(std::string Fields::*field, std::string value) {
  Fields fields;
  fields.*field = std::move(value);
  return fields;
}

Fields WithCounts(Fields fields, int catalog, int active, int present) {
  fields.catalogCount = catalog;
  fields.activeCount = active;
  fields.presentCount = present;
  return fields;
}

Fields LostEndpoint() {
  Fields fields = With(&Fields::mapping, "MMDevice catalog has the wrong VORN endpoint count");
  fields.present = "driver update changed the exact active endpoint set";
  return WithCounts(fields, 19, 19, 19);
}

constexpr const char* kWrongInf = "live root is bound to a different signed INF package";

INSTANTIATE_TEST_SUITE_P(
    Table, BrokenObservation,
    testing::Values(
        Broken{"another INF", [](Machine&, ActivationState& state) { state.infSha256.back() ^= 1; },
               With(&Fields::package, kWrongInf)},
        Broken{"another date", [](Machine&, ActivationState& state) { state.date = u"08/11/2026"; },
               With(&Fields::package, kWrongInf)},
        Broken{"another service",
               [](Machine&, ActivationState& state) { state.service = u"OtherAudio"; },
               With(&Fields::package, "live root is bound to the wrong driver service")},
        Broken{"a pool of 19",
               [](Machine& machine, ActivationState&) {
                 RootOf(machine).resident->pool.pop_back();
                 RootOf(machine).resident->poolCount = 19;
               },
               With(&Fields::kernel, "driver reported the wrong endpoint-pool size")},
        Broken{"an older image in memory",
               [](Machine& machine, ActivationState&) {
                 RootOf(machine).resident->loadedVersion = 0x1A0809;
               },
               With(&Fields::resident,
                    "RESIDENT IMAGE MISMATCH: driver reports 26.8.9 (0x001A0809) but the package "
                    "being activated is 26.8.10.5. PnP metadata is not proof -- the devnode "
                    "restart did not load the new image.")},
        Broken{"a child that PnP does not show",
               [](Machine& machine, ActivationState& state) {
                 const auto* endpoint = FindEndpoint(machine, kRootId, CableFlow{0, 0});
                 const std::u16string child = u"SWD\\MMDEVAPI\\" + endpoint->id;
                 RemoveDeviceNode(machine, child);
                 std::erase_if(state.present, [&](const std::u16string& id) {
                   return EqualsIgnoringCase(id, child);
                 });
               },
               [] {
                 Fields fields =
                     With(&Fields::catalog,
                          "ACTIVE MMDevice catalog does not match the exact problem-free started "
                          "present AudioEndpoint children");
                 fields.mapping = "MMDevice catalog transition not observed";
                 return WithCounts(fields, 20, 20, 19);
               }()},
        Broken{
            "an endpoint that the user had disabled",
            [](Machine&, ActivationState& state) {
              EndpointAt(state.catalog, 0, false).active = false;
            },
            With(&Fields::mapping, "driver update activated an endpoint the user had not claimed")},
        Broken{"another present set",
               [](Machine&, ActivationState& state) { state.present.pop_back(); },
               With(&Fields::present, "driver update changed the exact active endpoint set")},
        Broken{"a present baseline that no parser accepts",
               [](Machine&, ActivationState& state) { state.present.emplace_back(); },
               With(&Fields::present, "endpoint baseline has an empty instance id")},
        Broken{"a lost endpoint",
               [](Machine& machine, ActivationState&) {
                 LoseEndpoint(machine, FindEndpoint(machine, kRootId, CableFlow{9, 1})->id);
               },
               LostEndpoint()}));

TEST(LiveVerificationFlags, PassTheUnchangedPackageToTheTransition) {
  Machine machine = InstalledMachine();
  ActivationState state = UpdateTarget(machine);
  for (CatalogEndpoint& endpoint : state.catalog)
    endpoint.endpointId += u"-old";
  EXPECT_EQ(RunEngine(machine, state, VerificationMode::Quick).status, kExitOk);
  state.unchangedPackage = true;
  Fields fields =
      With(&Fields::mapping, "unchanged driver package re-minted MMDevice cable identities");
  ExpectMissing(RunEngine(machine, state), MissingLine(fields));
}

TEST(LiveVerificationFlags, LimitTheChildrenOfAFreshInstallToTwenty) {
  // A foreign endpoint of the root: no cable, so not of the catalog, but a child.
  Machine machine = InstalledMachine();
  ActivationState state = FreshTarget(machine);
  ASSERT_EQ(RunEngine(machine, state, VerificationMode::Quick).status, kExitOk);
  AddForeignEndpoint(machine, false, kRootId);
  Fields fields = With(&Fields::catalog,
                       "ACTIVE MMDevice catalog does not match the exact problem-free started "
                       "present AudioEndpoint children");
  fields.mapping = "MMDevice catalog transition not observed";
  fields.present = "fresh devnode published too many live AudioEndpoint children";
  ExpectMissing(RunEngine(machine, state), MissingLine(WithCounts(fields, 20, 20, 21)));
}

TEST(LiveVerificationFlags, KeepAChildThatTheCatalogDoesNotKnowStrictlyExpected) {
  // The active catalog must be exactly the children, so a foreign child fails the catalog although
  // the present set is as it was.
  Machine machine = InstalledMachine();
  AddForeignEndpoint(machine, false, kRootId);
  const ActivationState state = UpdateTarget(machine);
  Fields fields = With(&Fields::catalog,
                       "ACTIVE MMDevice catalog does not match the exact problem-free started "
                       "present AudioEndpoint children");
  fields.mapping = "MMDevice catalog transition not observed";
  ExpectMissing(RunEngine(machine, state), MissingLine(WithCounts(fields, 20, 20, 21)));
}

// ------------------------------------------------------------------------------------------------
// Failing calls.

/// An error that is a failure in every kind of code.
constexpr auto kAnyError = static_cast<std::uint32_t>(platform::E_FAIL);

Fault FailFrom(std::string call, std::uint32_t first, std::uint32_t last) {
  Fault fault;
  fault.call = std::move(call);
  fault.first = first;
  fault.last = last;
  fault.error = kAnyError;
  return fault;
}

bool GivesSomethingBack(const std::string& call) {
  static const std::set<std::string> kCalls = {"CloseHandle",
                                               "CloseServiceHandle",
                                               "SetupDiDestroyDeviceInfoList",
                                               "SetupCloseInfFile",
                                               "BCryptCloseAlgorithmProvider",
                                               "BCryptDestroyHash",
                                               "CoTaskMemFree",
                                               "CoUninitialize",
                                               "PropVariantClear",
                                               "LocalFree"};
  return kCalls.contains(call);
}

TEST(LiveVerificationFaults, OfASingleCallAreOvercomeByTheNextPoll) {
  Machine sound = InstalledMachine();
  const ActivationState state = UpdateTarget(sound);
  const EngineRun whole = RunEngine(sound, state, VerificationMode::Quick);
  ASSERT_EQ(whole.status, kExitOk);
  for (std::uint32_t nth = 1; nth <= whole.callCount; ++nth) {
    Machine machine = sound;
    const std::string& call = whole.calls[nth - 1].name;
    const EngineRun run =
        RunEngine(machine, state, VerificationMode::Reporting, {FailFrom("*", nth, nth)});
    EXPECT_EQ(run.status, kExitOk) << call << " " << nth << ": " << ToUtf8(run.errorOutput);
    if (GivesSomethingBack(call)) continue;
    EXPECT_TRUE(run.openObjects.empty()) << call << " " << nth;
    EXPECT_EQ(run.apartments, 0) << call << " " << nth;
  }
}

TEST(LiveVerificationFaults, OfEveryLaterCallNeverEndInAFalseProof) {
  Machine sound = InstalledMachine();
  const ActivationState state = UpdateTarget(sound);
  const EngineRun whole = RunEngine(sound, state, VerificationMode::Quick);
  std::set<std::string> names;
  for (const auto& call : whole.calls)
    names.insert(call.name);
  // Calls without which everything can be proven all the same.
  const std::set<std::string> needless = {"OpenSCManagerW", "OpenServiceW", "StartServiceW",
                                          "GetTickCount64"};
  for (const std::string& name : names) {
    Machine machine = sound;
    const EngineRun run = RunEngine(machine, state, VerificationMode::Quick,
                                    {FailFrom(name, 1, platform::simulated::kEveryLaterCall)});
    const bool harmless = needless.contains(name) || GivesSomethingBack(name);
    EXPECT_EQ(run.status == kExitOk, harmless) << name << " " << run.status;
    if (GivesSomethingBack(name)) continue;
    EXPECT_TRUE(run.openObjects.empty()) << name;
  }
}

TEST(LiveVerificationFaults, OfThePrintingDoNotFailTheRun) {
  Machine machine = InstalledMachine();
  const ActivationState state = UpdateTarget(machine);
  EXPECT_EQ(RunEngine(machine, state, VerificationMode::Reporting,
                      {FailFrom("fputws", 1, platform::simulated::kEveryLaterCall)})
                .status,
            kExitOk);
}

TEST(LiveVerificationFaults, ThatKillTheProcessEndTheRun) {
  Machine sound = InstalledMachine();
  const ActivationState state = UpdateTarget(sound);
  const EngineRun whole = RunEngine(sound, state);
  for (std::uint32_t nth = 1; nth <= whole.callCount; ++nth) {
    Machine machine = sound;
    Fault kill;
    kill.first = kill.last = nth;
    kill.kind = FaultKind::KillBefore;
    const EngineRun run = RunEngine(machine, state, VerificationMode::Reporting, {kill});
    EXPECT_EQ(ToUtf8(run.output), "") << nth;
    EXPECT_EQ(ToUtf8(run.errorOutput), "") << nth;
  }
}

TEST(LiveVerification, ChangesNothing) {
  Machine machine = InstalledMachine();
  const ActivationState state = UpdateTarget(machine);
  const EngineRun run = RunEngine(machine, state);
  for (const char* call : {"SetupDiCallClassInstaller", "SetupDiSetClassInstallParamsW",
                           "UpdateDriverForPlugAndPlayDevicesW", "SetupUninstallOEMInfW",
                           "WriteFile", "SetFileInformationByHandle",
                           "CM_Query_And_Remove_SubTreeW", "NtDeleteKey", "CreateDirectoryW"}) {
    EXPECT_EQ(run.CountOf(call), 0u) << call;
  }
}

}  // namespace
}  // namespace vorn

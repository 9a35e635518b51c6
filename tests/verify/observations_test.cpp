// What the verification engine observes, one thing after the other, and what keeps its last value.

#include "base/text.h"
#include "platform/audio_endpoints.h"
#include "platform/simulated/audio_values.h"
#include "platform/simulated/device_tree.h"
#include "platform/simulated/endpoint_builder.h"
#include "tests/support/activation.h"
#include "tests/support/catalog_lists.h"
#include "tests/support/machine_view.h"
#include "tests/verify/engine_lines.h"

#include <functional>
#include <gtest/gtest.h>

namespace vorn {
namespace {

using platform::simulated::AddRoot;
using platform::simulated::AudioEndpoint;
using platform::simulated::CableFlow;
using platform::simulated::Fault;
using platform::simulated::FindEndpoint;
using platform::simulated::InstalledMachine;
using platform::simulated::LoseEndpoint;
using platform::simulated::Machine;
using platform::simulated::RemoveDeviceNode;
using tests::ChangeBefore;
using tests::EndpointAt;
using tests::EngineRun;
using tests::ExpectMissing;
using tests::FreshTarget;
using tests::kPausesOfAFailedRun;
using tests::kPollPauseMs;
using tests::kRootId;
using tests::MissingFields;
using tests::MissingLine;
using tests::NothingObservedLine;
using tests::RootOf;
using tests::RunEngine;
using tests::UpdateTarget;

/// Removes the root just before that look for it; the first look is the start wait's.
Fault RootVanishesAtLook(std::uint32_t look) {
  return ChangeBefore("SetupDiGetClassDevsW", look,
                      [](Machine& machine) { RemoveDeviceNode(machine, kRootId); });
}

/// Breaks the listing of the catalog from that look on.
Fault CatalogBreaksAtListing(std::uint32_t listing) {
  return ChangeBefore("CoInitializeEx", listing,
                      [](Machine& machine) { machine.audio.enumError = platform::E_FAIL; });
}

TEST(LiveVerificationObservations, AreMadeInTheirOrder) {
  Machine machine = InstalledMachine();
  const EngineRun run = RunEngine(machine, UpdateTarget(machine), VerificationMode::Quick);
  std::vector<std::string> order;
  for (const auto& call : run.calls) {
    // The start wait looks for the root, too.
    if (call.name == "SetupDiGetClassDevsW" && call.Argument("Enumerator") == "ROOT") {
      order.emplace_back("root");
    }
    if (call.name == "GetWindowsDirectoryW") order.emplace_back("package");
    if (call.name == "DeviceIoControl") order.push_back(call.Argument("controlCode"));
    if (call.name == "CoInitializeEx") order.emplace_back("catalog");
  }
  EXPECT_EQ(order, (std::vector<std::string>{"root", "root", "package", "0x226020", "0x226010",
                                             "catalog"}));
}

// ------------------------------------------------------------------------------------------------
// What keeps its last value.

TEST(LiveVerificationObservations, KeepTheirStartingReasonsWhileTheRootIsMissing) {
  Machine machine = InstalledMachine();
  const ActivationState state = UpdateTarget(machine);
  const EngineRun run =
      RunEngine(machine, state, VerificationMode::Reporting, {RootVanishesAtLook(2)});
  ExpectMissing(run, NothingObservedLine("no present Root\\VornAudio devnode", 0));
  EXPECT_EQ(run.CountOf("CoInitializeEx"), 0u);
  EXPECT_EQ(run.CountOf("DeviceIoControl"), 0u);
  // One for the start wait, and one for each poll.
  EXPECT_EQ(run.CountOf("SetupDiGetClassDevsW"), 2 + kPausesOfAFailedRun);
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
  MissingFields fields;
  fields.root = "no present Root\\VornAudio devnode";
  fields.resident =
      "RESIDENT IMAGE/ABI MISMATCH: loaded DriverVer is 26.8.10.9 but the activated package is "
      "26.8.10.5; resident driver ABI/capability handshake does not match the activated package";
  fields.presentCount = 0;
  ExpectMissing(run, MissingLine(fields));
  EXPECT_EQ(run.CountOf("CoInitializeEx"), 1u);
}

TEST(LiveVerificationObservations, KeepTheStartingReasonOfTheMappingWhileTheCatalogFails) {
  Machine machine = InstalledMachine();
  const ActivationState state = UpdateTarget(machine);
  machine.audio.enumError = platform::E_FAIL;
  MissingFields fields;
  fields.catalog = "MMDevice catalog enumeration was incomplete";
  fields.mapping = "MMDevice catalog transition not observed";
  fields.catalogCount = fields.activeCount = 0;
  ExpectMissing(RunEngine(machine, state), MissingLine(fields));
}

TEST(LiveVerificationObservations, KeepTheLastValueOfTheMappingWhenTheCatalogFailsLater) {
  Machine machine = InstalledMachine();
  ActivationState state = UpdateTarget(machine);
  EndpointAt(state.catalog, 3, true).active = false;
  MissingFields fields;
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
  MissingFields fields;
  fields.catalog = "MMDevice catalog has too many VORN endpoints";
  fields.mapping = "MMDevice catalog transition not observed";
  fields.catalogCount = 21;
  ExpectMissing(RunEngine(machine, state), MissingLine(fields));
}

TEST(LiveVerificationObservations, MustAllHoldInOnePoll) {
  // At each poll one of the two is wrong, and at the next the other.
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
  MissingFields fields;
  fields.catalog = "MMDevice catalog enumeration was incomplete";
  fields.catalogCount = fields.activeCount = 0;
  ExpectMissing(run, MissingLine(fields));
}

TEST(LiveVerificationObservations, AreMadeAnewAtEachPollHoweverSoundTheyWere) {
  struct {
    const char* name;
    std::function<void(Machine&)> damage;
  } const rows[] = {
      {"package",
       [](Machine& world) {
         SetStringProperty(RootOf(world), platform::simulated::kDriverVersionKey, u"1.2.3.4");
       }},
      {"kernel", [](Machine& world) { RootOf(world).resident->poolCount = 19; }},
      {"resident", [](Machine& world) { RootOf(world).resident->revision = 9; }},
      {"mapping alone",
       [](Machine& world) {
         std::swap(FindEndpoint(world, kRootId, CableFlow{8, 1})->id,
                   FindEndpoint(world, kRootId, CableFlow{9, 1})->id);
       }},
      {"mapping and present",
       [](Machine& world) {
         LoseEndpoint(world, FindEndpoint(world, kRootId, CableFlow{9, 1})->id);
       }},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    Machine machine = InstalledMachine();
    const ActivationState state = UpdateTarget(machine);
    // Something else is wrong at the first poll.
    const bool byCatalog = std::string(row.name) == "resident";
    if (byCatalog) machine.audio.enumError = platform::E_FAIL;
    if (!byCatalog) RootOf(machine).resident->revision = 9;
    const EngineRun run = RunEngine(machine, state, VerificationMode::Reporting,
                                    {ChangeBefore("Sleep", 1, [&row](Machine& world) {
                                      world.audio.enumError = platform::S_OK;
                                      RootOf(world).resident->revision = 5;
                                      row.damage(world);
                                    })});
    EXPECT_EQ(run.status, kExitEndpointsMissing);
  }
}

// ------------------------------------------------------------------------------------------------
// Each observation by itself.

struct Broken {
  const char* name;
  std::function<void(Machine&, ActivationState&)> damage;
  MissingFields fields;
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
  EXPECT_TRUE(quick.console.empty()) << GetParam().name;
}

MissingFields With(std::string MissingFields::*field, std::string value) {
  MissingFields fields;
  fields.*field = std::move(value);
  return fields;
}

MissingFields WithCounts(MissingFields fields, int catalog, int active, int present) {
  fields.catalogCount = catalog;
  fields.activeCount = active;
  fields.presentCount = present;
  return fields;
}

MissingFields LostEndpoint() {
  MissingFields fields =
      With(&MissingFields::mapping, "MMDevice catalog has the wrong VORN endpoint count");
  fields.present = "driver update changed the exact active endpoint set";
  return WithCounts(fields, 19, 19, 19);
}

constexpr const char* kWrongInf = "live root is bound to a different signed INF package";

INSTANTIATE_TEST_SUITE_P(
    Table, BrokenObservation,
    testing::Values(
        Broken{"another INF",
               [](Machine&, ActivationState& state) { state.target.infSha256.back() ^= 1; },
               With(&MissingFields::package, kWrongInf)},
        Broken{"another date",
               [](Machine&, ActivationState& state) { state.target.date = u"08/11/2026"; },
               With(&MissingFields::package, kWrongInf)},
        Broken{"another service",
               [](Machine&, ActivationState& state) { state.target.service = u"OtherAudio"; },
               With(&MissingFields::package, "live root is bound to the wrong driver service")},
        Broken{"a pool of 19",
               [](Machine& machine, ActivationState&) {
                 RootOf(machine).resident->pool.pop_back();
                 RootOf(machine).resident->poolCount = 19;
               },
               With(&MissingFields::kernel, "driver reported the wrong endpoint-pool size")},
        Broken{"an older image in memory",
               [](Machine& machine, ActivationState&) {
                 RootOf(machine).resident->loadedVersion = 0x1A0809;
               },
               With(&MissingFields::resident,
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
                 MissingFields fields =
                     With(&MissingFields::catalog,
                          "ACTIVE MMDevice catalog does not match the exact problem-free started "
                          "present AudioEndpoint children");
                 fields.mapping = "MMDevice catalog transition not observed";
                 return WithCounts(fields, 20, 20, 19);
               }()},
        Broken{"an endpoint that the user had disabled",
               [](Machine&, ActivationState& state) {
                 EndpointAt(state.catalog, 0, false).active = false;
               },
               With(&MissingFields::mapping,
                    "driver update activated an endpoint the user had not claimed")},
        Broken{
            "another present set",
            [](Machine&, ActivationState& state) { state.present.pop_back(); },
            With(&MissingFields::present, "driver update changed the exact active endpoint set")},
        Broken{"a present baseline that no parser accepts",
               [](Machine&, ActivationState& state) { state.present.emplace_back(); },
               With(&MissingFields::present, "endpoint baseline has an empty instance id")},
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
  MissingFields fields =
      With(&MissingFields::mapping, "unchanged driver package re-minted MMDevice cable identities");
  ExpectMissing(RunEngine(machine, state, VerificationMode::Reporting, {}, PackageChange::None),
                MissingLine(fields));
}

TEST(LiveVerificationFlags, LimitTheChildrenOfAFreshInstallToTwenty) {
  // A foreign endpoint of the root: no cable, so not of the catalog, but a child.
  Machine machine = InstalledMachine();
  ActivationState state = FreshTarget(machine);
  ASSERT_EQ(RunEngine(machine, state, VerificationMode::Quick).status, kExitOk);
  AddForeignEndpoint(machine, false, kRootId);
  MissingFields fields =
      With(&MissingFields::catalog,
           "ACTIVE MMDevice catalog does not match the exact problem-free started "
           "present AudioEndpoint children");
  fields.mapping = "MMDevice catalog transition not observed";
  fields.present = "fresh devnode published too many live AudioEndpoint children";
  ExpectMissing(RunEngine(machine, state), MissingLine(WithCounts(fields, 20, 20, 21)));
}

TEST(LiveVerificationFlags, DoNotExcuseAChildThatTheCatalogDoesNotKnow) {
  // The active catalog must be exactly the children, so a foreign child fails the catalog although
  // the present set is as it was.
  Machine machine = InstalledMachine();
  AddForeignEndpoint(machine, false, kRootId);
  const ActivationState state = UpdateTarget(machine);
  MissingFields fields =
      With(&MissingFields::catalog,
           "ACTIVE MMDevice catalog does not match the exact problem-free started "
           "present AudioEndpoint children");
  fields.mapping = "MMDevice catalog transition not observed";
  ExpectMissing(RunEngine(machine, state), MissingLine(WithCounts(fields, 20, 20, 21)));
}

}  // namespace
}  // namespace vorn

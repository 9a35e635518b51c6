#include "catalog/catalog_snapshot.h"

#include "base/format.h"
#include "base/text.h"
#include "platform/audio_endpoints.h"
#include "platform/simulated/audio_values.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/process.h"
#include "product/endpoint_identity.h"

#include <functional>
#include <gtest/gtest.h>
#include <map>

namespace vorn {
namespace {

using platform::simulated::AudioEndpoint;
using platform::simulated::CableProperty;
using platform::simulated::CallRecord;
using platform::simulated::Fault;
using platform::simulated::FaultKind;
using platform::simulated::Machine;
using platform::simulated::ObjectKind;
using platform::simulated::Process;

using Ids = std::vector<std::u16string>;

constexpr char16_t kRoot[] = u"ROOT\\MEDIA\\0000";
constexpr char16_t kFilter[] =
    u"{2}.\\\\?\\root#media#0000#{6994ad04-93ef-11d0-a3cc-00a0c9223196}\\wave0";

constexpr const char* kIncomplete = "MMDevice catalog enumeration was incomplete";
constexpr const char* kMismatch =
    "ACTIVE MMDevice catalog does not match the exact problem-free started present AudioEndpoint "
    "children";

/// A text as a failure message can show it.
std::string Utf8(std::u16string_view text) {
  return ToUtf8(text);
}

AudioEndpoint Endpoint(std::uint32_t cable, bool capture) {
  AudioEndpoint endpoint;
  endpoint.id = Format(u"{0.0.%u.00000000}.{%u}", capture ? 1u : 0u, cable);
  endpoint.capture = capture;
  endpoint.state = platform::DEVICE_STATE_ACTIVE;
  endpoint.cable = CableProperty{platform::VT_UI4, cable};
  endpoint.connectedTo = kFilter;
  endpoint.root = kRoot;
  return endpoint;
}

/// A machine whose catalog shows these endpoints and nothing else.
Machine MachineWith(std::vector<AudioEndpoint> endpoints) {
  Machine machine;
  machine.services[u"AudioEndpointBuilder"] = {};
  machine.services[u"Audiosrv"] = {};
  machine.audio.endpoints = std::move(endpoints);
  return machine;
}

/// All 20, render and capture of each cable side by side.
std::vector<AudioEndpoint> AllEndpoints() {
  std::vector<AudioEndpoint> endpoints;
  for (std::uint32_t cable = 0; cable < kCableCount; ++cable) {
    endpoints.push_back(Endpoint(cable, false));
    endpoints.push_back(Endpoint(cable, true));
  }
  return endpoints;
}

Ids InstanceIds(const std::vector<AudioEndpoint>& endpoints) {
  Ids ids;
  for (const AudioEndpoint& endpoint : endpoints) {
    if (endpoint.state == platform::DEVICE_STATE_ACTIVE) {
      ids.push_back(u"SWD\\MMDEVAPI\\" + endpoint.id);
    }
  }
  return ids;
}

/// What one snapshot gave, and what it left behind.
struct Taken {
  CatalogSnapshot snapshot;
  std::vector<CallRecord> calls;
  std::uint64_t callCount = 0;
  platform::simulated::CallCounts callCounts;
  int apartments = 0;
  std::map<ObjectKind, std::size_t> open;

  std::uint32_t CountOf(const std::string& name) const {
    const auto* const found = callCounts.find(name);
    return found == nullptr ? 0 : found->second;
  }
};

Taken Snapshot(Machine& machine, const Ids& children, PnpComparison comparison,
               std::vector<Fault> faults = {}) {
  Process process(machine);
  process.logCalls = true;
  process.faults = std::move(faults);
  Taken taken;
  taken.snapshot = TakeCatalogSnapshot(kRoot, children, comparison);
  taken.calls = process.calls;
  taken.callCount = process.callCount;
  taken.callCounts = process.callCounts;
  taken.apartments = process.comInitialized;
  taken.open = process.OpenObjects();
  std::erase_if(taken.open, [](const auto& kind) { return kind.second == 0; });
  EXPECT_EQ(taken.snapshot.ok, taken.snapshot.reason.empty());
  EXPECT_TRUE(process.console.empty());
  return taken;
}

/// A snapshot without the comparison.
Taken Snapshot(std::vector<AudioEndpoint> endpoints) {
  Machine machine = MachineWith(std::move(endpoints));
  return Snapshot(machine, {}, PnpComparison::None);
}

void ExpectNothingLeft(const Taken& taken) {
  EXPECT_EQ(taken.apartments, 0);
  EXPECT_TRUE(taken.open.empty());
}

// ------------------------------------------------------------------------------------------------

TEST(CatalogSnapshotOf, ACompleteCatalogHoldsRenderThenCapture) {
  const auto all = AllEndpoints();
  Machine machine = MachineWith(all);
  const Taken taken = Snapshot(machine, InstanceIds(all), PnpComparison::Children);
  EXPECT_EQ(Utf8(taken.snapshot.reason), "");
  std::vector<CatalogEndpoint> expected;
  Ids ids;
  Ids instanceIds;
  for (const bool capture : {false, true}) {
    for (std::uint32_t cable = 0; cable < kCableCount; ++cable) {
      ids.push_back(Endpoint(cable, capture).id);
      instanceIds.push_back(u"SWD\\MMDEVAPI\\" + ids.back());
      expected.push_back({cable, capture, true, ids.back()});
    }
  }
  EXPECT_EQ(taken.snapshot.endpoints, expected);
  EXPECT_EQ(taken.snapshot.endpointIds, ids);
  EXPECT_EQ(taken.snapshot.activeEndpointIds, ids);
  EXPECT_EQ(taken.snapshot.activeInstanceIds, instanceIds);
  ExpectNothingLeft(taken);
}

TEST(CatalogSnapshotOf, AnEmptyCatalogIsOk) {
  const Taken taken = Snapshot({});
  EXPECT_TRUE(taken.snapshot.ok);
  EXPECT_TRUE(taken.snapshot.endpoints.empty());
  ExpectNothingLeft(taken);
}

TEST(CatalogSnapshotOf, NineteenEndpointsIsOkAndLeftForTheCallerToJudge) {
  auto endpoints = AllEndpoints();
  endpoints.pop_back();
  EXPECT_TRUE(Snapshot(endpoints).snapshot.ok);
}

TEST(CatalogSnapshotOf, TwentyOneEndpointsIsInconsistent) {
  auto endpoints = AllEndpoints();
  endpoints.push_back(Endpoint(0, false));
  const Taken taken = Snapshot(endpoints);
  EXPECT_EQ(Utf8(taken.snapshot.reason), "MMDevice catalog has too many VORN endpoints");
  EXPECT_EQ(taken.snapshot.endpoints.size(), 21u);
}

TEST(CatalogSnapshotOf, ADuplicateIdentityIsInconsistentEvenIfOneOfThemIsDisabled) {
  AudioEndpoint second = Endpoint(4, false);
  second.id = u"{another}";
  second.state = platform::DEVICE_STATE_DISABLED;
  EXPECT_EQ(Utf8(Snapshot({Endpoint(4, false), second}).snapshot.reason),
            "MMDevice catalog duplicates a cable/flow identity");
}

TEST(CatalogSnapshotOf, ACableIndexOutOfRangeIsRecordedAndMalformed) {
  const Taken taken = Snapshot({Endpoint(12, false), Endpoint(1, true)});
  EXPECT_EQ(Utf8(taken.snapshot.reason), "MMDevice catalog contains a malformed VORN endpoint");
  ASSERT_EQ(taken.snapshot.endpoints.size(), 2u);
  EXPECT_EQ(taken.snapshot.endpoints[0].cableIndex, 12u);
}

TEST(CatalogSnapshotOf, ASignedCableIndexCountsUnlessItIsNegative) {
  AudioEndpoint endpoint = Endpoint(0, false);
  endpoint.cable = CableProperty{platform::VT_I4, 7};
  const Taken taken = Snapshot({endpoint});
  ASSERT_EQ(taken.snapshot.endpoints.size(), 1u);
  EXPECT_EQ(taken.snapshot.endpoints[0].cableIndex, 7u);
}

TEST(CatalogSnapshotOf, ADisabledEndpointIsRecordedAsNotActive) {
  AudioEndpoint disabled = Endpoint(3, true);
  disabled.state = platform::DEVICE_STATE_DISABLED;
  Machine machine = MachineWith({Endpoint(3, false), disabled});
  const Taken taken =
      Snapshot(machine, InstanceIds(machine.audio.endpoints), PnpComparison::Children);
  EXPECT_TRUE(taken.snapshot.ok);
  const std::vector<CatalogEndpoint> expected = {{3, false, true, Endpoint(3, false).id},
                                                 {3, true, false, disabled.id}};
  EXPECT_EQ(taken.snapshot.endpoints, expected);
  EXPECT_EQ(taken.snapshot.endpointIds, (Ids{expected[0].endpointId, expected[1].endpointId}));
  EXPECT_EQ(taken.snapshot.activeEndpointIds, Ids{expected[0].endpointId});
  EXPECT_EQ(taken.snapshot.activeInstanceIds, Ids{u"SWD\\MMDEVAPI\\" + expected[0].endpointId});
}

TEST(CatalogSnapshotOf, AnEndpointIsActiveInExactlyOneState) {
  AudioEndpoint mixed = Endpoint(3, true);
  mixed.state = platform::DEVICE_STATE_ACTIVE | platform::DEVICE_STATE_DISABLED;
  const Taken taken = Snapshot({mixed});
  ASSERT_EQ(taken.snapshot.endpoints.size(), 1u);
  EXPECT_FALSE(taken.snapshot.endpoints[0].active);
}

TEST(CatalogSnapshotOf, ACatalogLeavesOutEndpointsThatAreUnpluggedOrNotPresent) {
  AudioEndpoint notPresent = Endpoint(0, false);
  notPresent.state = platform::DEVICE_STATE_NOTPRESENT;
  AudioEndpoint unplugged = Endpoint(1, false);
  unplugged.state = platform::DEVICE_STATE_UNPLUGGED;
  const Taken taken = Snapshot({notPresent, unplugged, Endpoint(2, false)});
  ASSERT_EQ(taken.snapshot.endpoints.size(), 1u);
  EXPECT_EQ(taken.snapshot.endpoints[0].cableIndex, 2u);
}

// ------------------------------------------------------------------------------------------------

struct Skipped {
  const char* name;
  std::function<void(AudioEndpoint&)> change;
};

class SkippedEndpoint : public testing::TestWithParam<Skipped> {};

TEST_P(SkippedEndpoint, IsNotOursAndIsNoFailure) {
  AudioEndpoint skipped = Endpoint(5, false);
  GetParam().change(skipped);
  const Taken taken = Snapshot({Endpoint(4, false), skipped, Endpoint(6, false)});
  EXPECT_EQ(Utf8(taken.snapshot.reason), "") << GetParam().name;
  ASSERT_EQ(taken.snapshot.endpoints.size(), 2u) << GetParam().name;
  EXPECT_EQ(taken.snapshot.endpoints[1].cableIndex, 6u);
  ExpectNothingLeft(taken);
}

INSTANTIATE_TEST_SUITE_P(
    Table, SkippedEndpoint,
    testing::Values(
        Skipped{"no property store",
                [](auto& endpoint) { endpoint.propertyStoreError = platform::E_ACCESSDENIED; }},
        Skipped{"property unreadable",
                [](auto& endpoint) { endpoint.propertyError = platform::E_FAIL; }},
        Skipped{"no cable property", [](auto& endpoint) { endpoint.cable.reset(); }},
        Skipped{"VT_I4 -1",
                [](auto& endpoint) {
                  endpoint.cable = CableProperty{platform::VT_I4, 0xFFFFFFFF};
                }},
        Skipped{"VT_EMPTY",
                [](auto& endpoint) {
                  endpoint.cable = CableProperty{platform::VT_EMPTY, 5};
                }},
        Skipped{"VT_LPWSTR",
                [](auto& endpoint) {
                  endpoint.cable = CableProperty{platform::VT_LPWSTR, 5};
                }},
        Skipped{"VT_UI2",
                [](auto& endpoint) {
                  endpoint.cable = CableProperty{18, 5};
                }},
        Skipped{"no topology",
                [](auto& endpoint) { endpoint.topologyError = platform::E_NOINTERFACE; }},
        Skipped{"no connector",
                [](auto& endpoint) { endpoint.connectorError = platform::E_INVALIDARG; }},
        Skipped{"not connected",
                [](auto& endpoint) { endpoint.connectedError = platform::E_NOTFOUND; }},
        Skipped{
            "another root",
            [](auto& endpoint) { endpoint.connectedTo = u"{2}.\\\\?\\root#media#0001#{g}\\w"; }},
        Skipped{
            "a longer instance id",
            [](auto& endpoint) { endpoint.connectedTo = u"{2}.\\\\?\\root#media#00001#{g}\\w"; }},
        Skipped{"connected to nothing that has a name",
                [](auto& endpoint) { endpoint.connectedTo = u""; }}));

TEST(CatalogSnapshotOf, OneRootLeavesOutTheEndpointsOfAnotherRootWithTheSameCables) {
  auto endpoints = AllEndpoints();
  for (AudioEndpoint other : AllEndpoints()) {
    other.id += u"-other";
    other.connectedTo = u"{2}.\\\\?\\root#media#0001#{6994ad04}\\wave0";
    endpoints.push_back(other);
  }
  const Taken taken = Snapshot(endpoints);
  EXPECT_EQ(Utf8(taken.snapshot.reason), "");
  EXPECT_EQ(taken.snapshot.endpoints.size(), kEndpointCount);
}

TEST(CatalogSnapshotOf, ARootIsRecognisedInAnyLetterCaseAndAtTheEnd) {
  AudioEndpoint upper = Endpoint(0, false);
  upper.connectedTo = u"{2}.\\\\?\\ROOT#MEDIA#0000#{6994AD04}\\WAVE0";
  AudioEndpoint end = Endpoint(1, false);
  end.connectedTo = u"{2}.\\\\?\\root#media#0000";
  EXPECT_EQ(Snapshot({upper, end}).snapshot.endpoints.size(), 2u);
}

// ------------------------------------------------------------------------------------------------

struct Broken {
  const char* name;
  std::function<void(AudioEndpoint&)> change;
};

class UnreadableEndpoint : public testing::TestWithParam<Broken> {};

TEST_P(UnreadableEndpoint, MakesTheSnapshotIncompleteButTheOthersAreRecorded) {
  AudioEndpoint broken = Endpoint(5, false);
  GetParam().change(broken);
  const Taken taken = Snapshot({Endpoint(4, false), broken, Endpoint(6, false), Endpoint(6, true)});
  EXPECT_EQ(Utf8(taken.snapshot.reason), kIncomplete) << GetParam().name;
  const Ids recorded = {Endpoint(4, false).id, Endpoint(6, false).id, Endpoint(6, true).id};
  EXPECT_EQ(taken.snapshot.endpointIds, recorded) << GetParam().name;
  ExpectNothingLeft(taken);
}

INSTANTIATE_TEST_SUITE_P(
    Table, UnreadableEndpoint,
    testing::Values(Broken{"no id",
                           [](auto& endpoint) { endpoint.idError = platform::E_OUTOFMEMORY; }},
                    Broken{"null id", [](auto& endpoint) { endpoint.nullId = true; }},
                    Broken{"no state", [](auto& endpoint) {
                             endpoint.stateError = platform::AUDCLNT_E_DEVICE_INVALIDATED;
                           }}));

TEST(CatalogSnapshotOf, AnIncompleteListingIsNotJudgedFurther) {
  // The list is malformed and differs from the children as well, but that it is incomplete comes
  // first.
  AudioEndpoint broken = Endpoint(5, false);
  broken.idError = platform::E_FAIL;
  Machine machine = MachineWith({Endpoint(12, false), broken});
  EXPECT_EQ(
      Utf8(Snapshot(machine, {u"SWD\\MMDEVAPI\\other"}, PnpComparison::Children).snapshot.reason),
      kIncomplete);
}

// ------------------------------------------------------------------------------------------------

TEST(CatalogSnapshotComparison, IsOffUnlessAskedFor) {
  Machine machine = MachineWith(AllEndpoints());
  const Taken taken = Snapshot(machine, {u"SWD\\MMDEVAPI\\other"}, PnpComparison::None);
  EXPECT_TRUE(taken.snapshot.ok);
  EXPECT_TRUE(taken.snapshot.activeInstanceIds.empty());
  EXPECT_EQ(taken.snapshot.activeEndpointIds.size(), kEndpointCount);
}

TEST(CatalogSnapshotComparison, FailsWhenTheActiveEndpointsAreNotTheChildren) {
  const auto all = AllEndpoints();
  Machine machine = MachineWith(all);
  Ids oneMissing = InstanceIds(all);
  oneMissing.pop_back();
  Ids oneMore = InstanceIds(all);
  oneMore.push_back(u"SWD\\MMDEVAPI\\more");
  Ids twice = InstanceIds(all);
  twice.push_back(ToLowerAscii(twice.front()));
  for (const Ids& children : {Ids{}, oneMissing, oneMore, twice}) {
    const Taken taken = Snapshot(machine, children, PnpComparison::Children);
    EXPECT_EQ(Utf8(taken.snapshot.reason), kMismatch);
    EXPECT_EQ(taken.snapshot.endpoints.size(), kEndpointCount);
    EXPECT_EQ(taken.snapshot.activeInstanceIds.size(), kEndpointCount);
    ExpectNothingLeft(taken);
  }
}

TEST(CatalogSnapshotComparison, IgnoresLetterCaseAndOrder) {
  const auto all = AllEndpoints();
  Machine machine = MachineWith(all);
  Ids children;
  for (const std::u16string& id : InstanceIds(all))
    children.push_back(ToLowerAscii(id));
  std::reverse(children.begin(), children.end());
  EXPECT_TRUE(Snapshot(machine, children, PnpComparison::Children).snapshot.ok);
}

TEST(CatalogSnapshotComparison, PassesWithoutActiveEndpointsWhateverTheChildrenAre) {
  auto endpoints = AllEndpoints();
  for (AudioEndpoint& endpoint : endpoints)
    endpoint.state = platform::DEVICE_STATE_DISABLED;
  Machine machine = MachineWith(endpoints);
  EXPECT_TRUE(Snapshot(machine, {u"SWD\\MMDEVAPI\\any"}, PnpComparison::Children).snapshot.ok);
  EXPECT_TRUE(Snapshot(machine, {}, PnpComparison::Children).snapshot.ok);
}

TEST(CatalogSnapshotComparison, ComesAfterTheConsistencyCheck) {
  Machine machine = MachineWith({Endpoint(12, false)});
  EXPECT_EQ(Utf8(Snapshot(machine, {}, PnpComparison::Children).snapshot.reason),
            "MMDevice catalog contains a malformed VORN endpoint");
}

// ------------------------------------------------------------------------------------------------

TEST(CatalogSnapshotCom, JoinsTheMultithreadedApartmentAndLeavesIt) {
  const Taken taken = Snapshot(AllEndpoints());
  ASSERT_FALSE(taken.calls.empty());
  EXPECT_EQ(taken.calls.front().name, "CoInitializeEx");
  EXPECT_EQ(taken.calls.front().Argument("concurrencyModel"), "0x0");
  EXPECT_EQ(taken.CountOf("CoInitializeEx"), 1u);
  EXPECT_EQ(taken.calls.back().name, "CoUninitialize");
  EXPECT_EQ(taken.CountOf("CoUninitialize"), 1u);
}

TEST(CatalogSnapshotCom, EndsWhenTheApartmentCannotBeJoined) {
  Machine machine = MachineWith(AllEndpoints());
  machine.audio.coInitializeResult = platform::E_OUTOFMEMORY;
  const Taken taken = Snapshot(machine, {}, PnpComparison::Children);
  EXPECT_EQ(Utf8(taken.snapshot.reason), "COM initialization failed");
  EXPECT_EQ(taken.callCount, 1u);
  EXPECT_TRUE(taken.snapshot.endpoints.empty());
}

TEST(CatalogSnapshotCom, UsesAnApartmentOfAnotherModeAndDoesNotLeaveIt) {
  Machine machine = MachineWith(AllEndpoints());
  machine.audio.coInitializeResult = platform::RPC_E_CHANGED_MODE;
  const Taken taken = Snapshot(machine, {}, PnpComparison::None);
  EXPECT_EQ(Utf8(taken.snapshot.reason), "");
  EXPECT_EQ(taken.snapshot.endpoints.size(), kEndpointCount);
  EXPECT_EQ(taken.CountOf("CoUninitialize"), 0u);
  ExpectNothingLeft(taken);
}

TEST(CatalogSnapshotCom, LeavesAnApartmentThatWasJoinedBefore) {
  Machine machine = MachineWith(AllEndpoints());
  Process process(machine);
  EXPECT_GE(platform::CoInitializeEx(platform::COINIT_MULTITHREADED), 0);
  EXPECT_TRUE(TakeCatalogSnapshot(kRoot, {}, PnpComparison::None).ok);
  EXPECT_EQ(process.comInitialized, 1);
  platform::CoUninitialize();
  EXPECT_EQ(process.comInitialized, 0);
}

TEST(CatalogSnapshotCom, EndsWithoutAnEnumerator) {
  Machine machine = MachineWith(AllEndpoints());
  machine.audio.createError = platform::REGDB_E_CLASSNOTREG;
  const Taken taken = Snapshot(machine, {}, PnpComparison::None);
  EXPECT_EQ(Utf8(taken.snapshot.reason), "MMDevice enumerator unavailable");
  EXPECT_EQ(taken.CountOf("CoUninitialize"), 1u);
  ExpectNothingLeft(taken);
}

TEST(CatalogSnapshotCom, EndsWhenASuccessfulCallReturnsANullEnumerator) {
  Machine machine = MachineWith(AllEndpoints());
  Fault lie;
  lie.call = "CoCreateInstance";
  lie.kind = FaultKind::SucceedWithoutEffect;
  const Taken taken = Snapshot(machine, {}, PnpComparison::None, {lie});
  EXPECT_EQ(Utf8(taken.snapshot.reason), "MMDevice enumerator unavailable");
  ExpectNothingLeft(taken);
}

// ------------------------------------------------------------------------------------------------

/// A fault at the n-th of all calls.
Fault At(std::uint64_t nth, FaultKind kind) {
  Fault fault;
  fault.first = fault.last = static_cast<std::uint32_t>(nth);
  fault.kind = kind;
  fault.error = static_cast<std::uint32_t>(platform::E_FAIL);
  return fault;
}

TEST(CatalogSnapshotFaults, NeverPassForAWholeCatalogAndLeaveNothingBehind) {
  const auto all = AllEndpoints();
  const Ids children = InstanceIds(all);
  Machine sound = MachineWith(all);
  const Taken whole = Snapshot(sound, children, PnpComparison::Children);
  ASSERT_TRUE(whole.snapshot.ok);
  ASSERT_GT(whole.callCount, 100u);
  for (const FaultKind kind :
       {FaultKind::Fail, FaultKind::FailAfterEffect, FaultKind::SucceedWithoutEffect}) {
    for (std::uint64_t nth = 1; nth <= whole.callCount; ++nth) {
      const std::string& name = whole.calls[nth - 1].name;
      Machine machine = MachineWith(all);
      const Taken taken = Snapshot(machine, children, PnpComparison::Children, {At(nth, kind)});
      const std::string where = name + " " + std::to_string(nth);
      if (taken.snapshot.ok) {
        EXPECT_EQ(taken.snapshot.endpoints, whole.snapshot.endpoints) << where;
      }
      // Only a call that gives something back may leave it behind when it is made to fail.
      if (name == "CoUninitialize" || name == "CoTaskMemFree" || name == "CoInitializeEx") continue;
      EXPECT_EQ(taken.apartments, 0) << where;
      EXPECT_TRUE(taken.open.empty()) << where;
    }
  }
}

/// A call that takes effect and fails all the same, the first of its name.
Fault FailingAfterItsEffect(const char* call) {
  Fault fault;
  fault.call = call;
  fault.kind = FaultKind::FailAfterEffect;
  fault.error = static_cast<std::uint32_t>(platform::E_FAIL);
  return fault;
}

TEST(CatalogSnapshotFaults, OfACallThatRecognisesADeviceSkipItWhateverTheCallBroughtBack) {
  for (const char* call :
       {"IMMDevice::OpenPropertyStore", "IPropertyStore::GetValue", "IMMDevice::Activate",
        "IDeviceTopology::GetConnector", "IConnector::GetDeviceIdConnectedTo"}) {
    Machine machine = MachineWith(AllEndpoints());
    const Taken taken = Snapshot(machine, {}, PnpComparison::None, {FailingAfterItsEffect(call)});
    EXPECT_EQ(taken.CountOf(call), kEndpointCount) << call;
    EXPECT_EQ(Utf8(taken.snapshot.reason), "") << call;
    EXPECT_EQ(taken.snapshot.endpoints.size(), kEndpointCount - 1) << call;
    ExpectNothingLeft(taken);
  }
}

TEST(CatalogSnapshotFaults, OfACallThatReadsARecognisedDeviceMakeItIncompleteWhateverCameBack) {
  for (const char* call : {"IMMDevice::GetId", "IMMDevice::GetState"}) {
    Machine machine = MachineWith(AllEndpoints());
    const Taken taken = Snapshot(machine, {}, PnpComparison::None, {FailingAfterItsEffect(call)});
    EXPECT_EQ(Utf8(taken.snapshot.reason), kIncomplete) << call;
    EXPECT_EQ(taken.snapshot.endpoints.size(), kEndpointCount - 1) << call;
    ExpectNothingLeft(taken);
  }
}

TEST(CatalogSnapshotFaults, OfACallThatListsMakeItIncompleteWhateverCameBack) {
  for (const char* call : {"IMMDeviceEnumerator::EnumAudioEndpoints",
                           "IMMDeviceCollection::GetCount", "IMMDeviceCollection::Item"}) {
    Machine machine = MachineWith(AllEndpoints());
    const Taken taken = Snapshot(machine, {}, PnpComparison::None, {FailingAfterItsEffect(call)});
    EXPECT_EQ(Utf8(taken.snapshot.reason), kIncomplete) << call;
    ExpectNothingLeft(taken);
  }
}

TEST(CatalogSnapshotFaults, OfTheCreationLeaveNoEnumeratorWhateverCameBack) {
  Machine machine = MachineWith(AllEndpoints());
  const Taken taken =
      Snapshot(machine, {}, PnpComparison::None, {FailingAfterItsEffect("CoCreateInstance")});
  EXPECT_EQ(Utf8(taken.snapshot.reason), "MMDevice enumerator unavailable");
  EXPECT_EQ(taken.CountOf("IMMDeviceEnumerator::EnumAudioEndpoints"), 0u);
  ExpectNothingLeft(taken);
}

TEST(CatalogSnapshotFaults, OfTheListingMakeItIncompleteAndTheRestIsRecorded) {
  // The render flow fails to list; the capture flow is recorded all the same.
  for (const char* name : {"IMMDeviceEnumerator::EnumAudioEndpoints",
                           "IMMDeviceCollection::GetCount", "IMMDeviceCollection::Item"}) {
    Machine machine = MachineWith(AllEndpoints());
    Fault fault;
    fault.call = name;
    fault.error = static_cast<std::uint32_t>(platform::E_FAIL);
    const Taken taken = Snapshot(machine, {}, PnpComparison::None, {fault});
    EXPECT_EQ(Utf8(taken.snapshot.reason), kIncomplete) << name;
    const bool oneItem = std::string_view(name) == "IMMDeviceCollection::Item";
    EXPECT_EQ(taken.snapshot.endpoints.size(), oneItem ? 19u : 10u) << name;
    ASSERT_FALSE(taken.snapshot.endpoints.empty());
    EXPECT_TRUE(taken.snapshot.endpoints.back().capture) << name;
    ExpectNothingLeft(taken);
  }
}

TEST(CatalogSnapshotFaults, OfTheListingOfTheSecondFlowMakeItIncompleteToo) {
  Machine machine = MachineWith(AllEndpoints());
  Fault fault = FailingAfterItsEffect("IMMDeviceEnumerator::EnumAudioEndpoints");
  fault.first = fault.last = 2;
  const Taken taken = Snapshot(machine, {}, PnpComparison::None, {fault});
  EXPECT_EQ(Utf8(taken.snapshot.reason), kIncomplete);
  EXPECT_EQ(taken.snapshot.endpoints.size(), 10u);
}

TEST(CatalogSnapshotFaults, OfACallThatGivesNullWhileItRecognisesADeviceSkipIt) {
  for (const char* call : {"IMMDevice::OpenPropertyStore", "IMMDevice::Activate",
                           "IDeviceTopology::GetConnector", "IConnector::GetDeviceIdConnectedTo"}) {
    Machine machine = MachineWith(AllEndpoints());
    Fault lie;
    lie.call = call;
    lie.kind = FaultKind::SucceedWithoutEffect;
    const Taken taken = Snapshot(machine, {}, PnpComparison::None, {lie});
    EXPECT_EQ(Utf8(taken.snapshot.reason), "") << call;
    EXPECT_EQ(taken.snapshot.endpoints.size(), kEndpointCount - 1) << call;
    ExpectNothingLeft(taken);
  }
}

TEST(CatalogSnapshotFaults, OfANullDeviceOrListMakeItIncomplete) {
  for (const char* name :
       {"IMMDeviceEnumerator::EnumAudioEndpoints", "IMMDeviceCollection::Item"}) {
    Machine machine = MachineWith(AllEndpoints());
    Fault fault;
    fault.call = name;
    fault.kind = FaultKind::SucceedWithoutEffect;
    EXPECT_EQ(Utf8(Snapshot(machine, {}, PnpComparison::None, {fault}).snapshot.reason),
              kIncomplete)
        << name;
  }
}

TEST(CatalogSnapshotCalls, AskForTheseFlowsStatesAndInterfaces) {
  const Taken taken = Snapshot(AllEndpoints());
  std::vector<std::string> listings;
  for (const CallRecord& call : taken.calls) {
    if (call.name == "IMMDeviceEnumerator::EnumAudioEndpoints") {
      listings.push_back(call.Argument("flow") + " " + call.Argument("stateMask"));
    }
    if (call.name == "CoCreateInstance") {
      EXPECT_EQ(call.Argument("classId"), "{BCDE0395-E52F-467C-8E3D-C4579291692E}");
      EXPECT_EQ(call.Argument("iid"), "{A95664D2-9614-4F35-A746-DE8DB63617E6}");
      EXPECT_EQ(call.Argument("context"), "0x17");
    }
    if (call.name == "IMMDevice::Activate") {
      EXPECT_EQ(call.Argument("iid"), "{2A07407E-6497-4A18-9787-32F79BD0D98F}");
      EXPECT_EQ(call.Argument("context"), "0x17");
    }
    if (call.name == "IMMDevice::OpenPropertyStore") {
      EXPECT_EQ(call.Argument("access"), "0x0");
    }
    if (call.name == "IDeviceTopology::GetConnector") {
      EXPECT_EQ(call.Argument("index"), "0");
    }
  }
  EXPECT_EQ(listings, (std::vector<std::string>{"0 0x3", "1 0x3"}));
  EXPECT_EQ(taken.CountOf("PropVariantClear"), kEndpointCount);
}

TEST(CatalogSnapshotCalls, AskADeviceWhoseItIsBeforeItsIdAndItsState) {
  const Taken taken = Snapshot({Endpoint(4, false)});
  const std::vector<std::string> asked = {"IMMDevice::OpenPropertyStore",
                                          "IPropertyStore::GetValue",
                                          "PropVariantClear",
                                          "IMMDevice::Activate",
                                          "IDeviceTopology::GetConnector",
                                          "IConnector::GetDeviceIdConnectedTo",
                                          "IMMDevice::GetId",
                                          "IMMDevice::GetState"};
  std::vector<std::string> calls;
  for (const CallRecord& call : taken.calls) {
    if (std::find(asked.begin(), asked.end(), call.name) != asked.end()) calls.push_back(call.name);
  }
  EXPECT_EQ(calls, asked);
}

TEST(CatalogSnapshotCalls, AskADeviceWithoutTheCablePropertyNothingMore) {
  AudioEndpoint other = Endpoint(4, false);
  other.cable.reset();
  const Taken taken = Snapshot({other});
  EXPECT_EQ(taken.CountOf("PropVariantClear"), 1u);
  EXPECT_EQ(taken.CountOf("IMMDevice::Activate"), 0u);
  EXPECT_EQ(taken.CountOf("IMMDevice::GetId"), 0u);
}

}  // namespace
}  // namespace vorn

#include "catalog/catalog_snapshot.h"

#include "base/text.h"
#include "platform/audio_endpoints.h"
#include "platform/simulated/audio_values.h"
#include "product/endpoint_identity.h"
#include "tests/catalog/taken_snapshot.h"

#include <functional>
#include <gtest/gtest.h>

namespace vorn {
namespace {

using platform::simulated::AudioEndpoint;
using platform::simulated::CableProperty;
using platform::simulated::Machine;
using tests::AllEndpoints;
using tests::Endpoint;
using tests::ExpectNothingLeft;
using tests::Ids;
using tests::InstanceIds;
using tests::kIncomplete;
using tests::MachineWith;
using tests::Snapshot;
using tests::Taken;

constexpr const char* kMismatch =
    "ACTIVE MMDevice catalog does not match the exact problem-free started present AudioEndpoint "
    "children";

TEST(CatalogSnapshotOf, ACompleteCatalogHoldsRenderThenCapture) {
  const auto all = AllEndpoints();
  Machine machine = MachineWith(all);
  const Taken taken = Snapshot(machine, InstanceIds(all), PnpComparison::Children);
  EXPECT_EQ(ToUtf8(taken.snapshot.reason), "");
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
  EXPECT_EQ(ToUtf8(taken.snapshot.reason), "MMDevice catalog has too many VORN endpoints");
  EXPECT_EQ(taken.snapshot.endpoints.size(), 21u);
}

TEST(CatalogSnapshotOf, ADuplicateIdentityIsInconsistentEvenIfOneOfThemIsDisabled) {
  AudioEndpoint second = Endpoint(4, false);
  second.id = u"{another}";
  second.state = platform::DEVICE_STATE_DISABLED;
  EXPECT_EQ(ToUtf8(Snapshot({Endpoint(4, false), second}).snapshot.reason),
            "MMDevice catalog duplicates a cable/flow identity");
}

TEST(CatalogSnapshotOf, ACableIndexOutOfRangeIsRecordedAndMalformed) {
  for (const std::uint32_t cable : {10U, 12U, 0x100U, 0x10000U, 0xFFFFFFFFU}) {
    const Taken taken = Snapshot({Endpoint(cable, false), Endpoint(1, true)});
    EXPECT_EQ(ToUtf8(taken.snapshot.reason), "MMDevice catalog contains a malformed VORN endpoint");
    ASSERT_EQ(taken.snapshot.endpoints.size(), 2u);
    EXPECT_EQ(taken.snapshot.endpoints[0].cableIndex, cable);
  }
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
  EXPECT_EQ(ToUtf8(taken.snapshot.reason), "") << GetParam().name;
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
  EXPECT_EQ(ToUtf8(taken.snapshot.reason), "");
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
  EXPECT_EQ(ToUtf8(taken.snapshot.reason), kIncomplete) << GetParam().name;
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
      ToUtf8(Snapshot(machine, {u"SWD\\MMDEVAPI\\other"}, PnpComparison::Children).snapshot.reason),
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
    EXPECT_EQ(ToUtf8(taken.snapshot.reason), kMismatch);
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

TEST(CatalogSnapshotComparison, FailsForChildrenThatAreNoSetEvenWithoutAnyEndpoint) {
  for (const Ids& children : {Ids{u"SWD\\a", u"swd\\A"}, Ids{u""}}) {
    Machine machine = MachineWith({});
    EXPECT_EQ(ToUtf8(Snapshot(machine, children, PnpComparison::Children).snapshot.reason),
              kMismatch);
  }
}

TEST(CatalogSnapshotComparison, ComesAfterTheConsistencyCheck) {
  Machine machine = MachineWith({Endpoint(12, false)});
  EXPECT_EQ(ToUtf8(Snapshot(machine, {}, PnpComparison::Children).snapshot.reason),
            "MMDevice catalog contains a malformed VORN endpoint");
}

}  // namespace
}  // namespace vorn

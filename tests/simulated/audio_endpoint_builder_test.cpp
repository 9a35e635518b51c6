#include "platform/audio_endpoints.h"
#include "platform/config_manager.h"
#include "platform/registry.h"
#include "platform/simulated/audio_values.h"
#include "platform/simulated/endpoint_builder.h"
#include "platform/simulated/registry_values.h"
#include "tests/simulated/audio_machine.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <limits>
#include <set>

namespace vorn::platform::simulated {
namespace {

constexpr CableFlow kFirst = {0, 0};
constexpr CableFlow kFifthCapture = {4, 1};

std::u16string IdOf(Machine& machine, CableFlow cable) {
  const AudioEndpoint* endpoint = FindEndpoint(machine, kRootId, cable);
  return endpoint == nullptr ? std::u16string() : endpoint->id;
}

std::set<std::u16string> IdsInView(const Machine& machine) {
  std::set<std::u16string> ids;
  for (const AudioEndpoint& endpoint : machine.audio.endpoints) {
    if (endpoint.state != DEVICE_STATE_NOTPRESENT) ids.insert(endpoint.id);
  }
  return ids;
}

std::size_t CountShared(const std::set<std::u16string>& left,
                        const std::set<std::u16string>& right) {
  std::size_t shared = 0;
  for (const std::u16string& id : left)
    shared += right.count(id);
  return shared;
}

void Settle(Machine& machine) {
  Advance(machine, 600'000);
}

/// The state in an endpoint's record.
std::optional<std::uint32_t> RecordState(const Machine& machine, const AudioEndpoint& endpoint) {
  return ReadDword(machine, EndpointRecordPath(endpoint), u"DeviceState");
}

TEST(AudioEndpointBuilder, RemintsTheEndpointsInViewAndKeepsTheUsersChoice) {
  Machine machine = PublishedMachine();
  SetEndpointDisabled(machine, IdOf(machine, kFirst), true);
  const std::set<std::u16string> before = IdsInView(machine);
  EXPECT_TRUE(RemintEndpoints(machine, kRootId));
  EXPECT_EQ(IdsInView(machine).size(), 20u);
  EXPECT_EQ(CountShared(before, IdsInView(machine)), 0u);
  EXPECT_EQ(FindEndpoint(machine, kRootId, kFirst)->state, DEVICE_STATE_DISABLED);
  EXPECT_EQ(machine.audio.remintNext, 0u);
}

TEST(AudioEndpointBuilder, RemintsNothingThatIsOutOfView) {
  Machine machine = PublishedMachine();
  WithdrawEndpoints(machine, kRootId);
  EXPECT_FALSE(RemintEndpoints(machine, kRootId));
  EXPECT_TRUE(IdsInView(machine).empty());
}

TEST(AudioEndpointBuilder, RemintsNothingThatItDidNotBuild) {
  Machine machine = PublishedMachine();
  const std::u16string id = AddForeignEndpoint(machine, true, u"HDAUDIO\\FUNC_01\\0001");
  EXPECT_FALSE(RemintEndpoints(machine, u"HDAUDIO\\FUNC_01\\0001"));
  EXPECT_EQ(FindEndpoint(machine, id)->state, DEVICE_STATE_ACTIVE);
}

TEST(AudioEndpointBuilder, MintsNoIdTwiceWhenItsCounterIsSetBack) {
  Machine machine = PublishedMachine();
  const std::set<std::u16string> before = IdsInView(machine);
  machine.audio.nextGuid = 0;
  EXPECT_TRUE(RemintEndpoints(machine, kRootId));
  EXPECT_EQ(IdsInView(machine).size(), 20u);
  EXPECT_EQ(CountShared(before, IdsInView(machine)), 0u);
}

// ------------------------------------------------------------------------------------------------
// Building.

TEST(AudioEndpointBuilder, NeverBuildsAfterTheLongestDelay) {
  Machine machine = StartedMachine();
  machine.audio.buildDelay = std::numeric_limits<std::uint64_t>::max();
  BuildEndpointsSoon(machine, kRootId);
  Settle(machine);
  EXPECT_TRUE(machine.audio.endpoints.empty());
}

TEST(AudioEndpointBuilder, PublishesOneEndpointForEachPoolEntryAfterItsDelay) {
  Machine machine = StartedMachine();
  BuildEndpointsSoon(machine, kRootId);
  Advance(machine, machine.audio.buildDelay - 1);
  EXPECT_TRUE(machine.audio.endpoints.empty());
  Advance(machine, 1);
  EXPECT_EQ(CountEndpoints(machine, DEVICE_STATE_ACTIVE), 20u);
  EXPECT_EQ(CountStartedChildren(machine), 20u);
  EXPECT_EQ(IdsInView(machine).size(), 20u);
}

TEST(AudioEndpointBuilder, GivesAnEndpointItsCableItsFilterAndAnIdOfItsFlow) {
  Machine machine = PublishedMachine();
  const AudioEndpoint* endpoint = FindEndpoint(machine, kRootId, kFifthCapture);
  ASSERT_NE(endpoint, nullptr);
  EXPECT_TRUE(endpoint->capture);
  EXPECT_EQ(endpoint->cable, (CableProperty{VT_UI4, 4}));
  EXPECT_TRUE(endpoint->connectedTo.starts_with(
      u"{2}.\\\\?\\root#media#0000#{6994ad04-93ef-11d0-a3cc-00a0c9223196}\\"));
  EXPECT_TRUE(endpoint->id.starts_with(u"{0.0.1.00000000}.{"));
  EXPECT_EQ(endpoint->id.size(), 17u + 38u);
  EXPECT_TRUE(IdOf(machine, kFirst).starts_with(u"{0.0.0.00000000}.{"));
}

TEST(AudioEndpointBuilder, HangsAnAudioEndpointChildOnTheDevice) {
  Machine machine = PublishedMachine();
  const Device* child = FindChildDevice(machine, IdOf(machine, kFirst));
  ASSERT_NE(child, nullptr);
  EXPECT_EQ(child->parent, kRootId);
  EXPECT_EQ(child->classGuid, kAudioEndpointClass);
  EXPECT_EQ(child->enumerator, u"SWD");
  EXPECT_TRUE(IsStarted(*child));
}

TEST(AudioEndpointBuilder, KeepsARecordWithTheCableMarker) {
  Machine machine = PublishedMachine();
  const AudioEndpoint& endpoint = *FindEndpoint(machine, kRootId, kFifthCapture);
  const std::u16string path = EndpointRecordPath(endpoint);
  EXPECT_EQ(path, u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\MMDevices\\Audio\\Capture\\" +
                      endpoint.id.substr(17));
  EXPECT_EQ(RecordState(machine, endpoint), DEVICE_STATE_ACTIVE);
  const RegistryValue* marker = FindValue(machine.registry, path + u"\\Properties",
                                          u"{4B7A2E8F-3C5D-4E91-8A67-2F9B1E3D5C7A},2");
  ASSERT_NE(marker, nullptr);
  EXPECT_EQ(marker->type, REG_DWORD);
  EXPECT_EQ(marker->data, (Bytes{4, 0, 0, 0}));
}

TEST(AudioEndpointBuilder, LeavesEndpointsInViewUnchanged) {
  Machine machine = PublishedMachine();
  const auto endpoints = machine.audio.endpoints;
  PublishEndpoints(machine, kRootId);
  EXPECT_EQ(machine.audio.endpoints, endpoints);
  EXPECT_EQ(CountStartedChildren(machine), 20u);
}

TEST(AudioEndpointBuilder, BuildsNothingForAStoppedOrForeignDevice) {
  Machine machine = StartedMachine();
  machine.devices.Find(kRootId)->problem = CM_PROB_DISABLED;
  PublishEndpoints(machine, kRootId);
  EXPECT_TRUE(machine.audio.endpoints.empty());
  machine = StartedMachine();
  machine.devices.Find(kRootId)->resident.reset();
  PublishEndpoints(machine, kRootId);
  PublishEndpoints(machine, u"ROOT\\MEDIA\\0009");
  EXPECT_TRUE(machine.audio.endpoints.empty());
}

TEST(AudioEndpointBuilder, WaitsForBothAudioServices) {
  for (const char16_t* stopped : {kEndpointBuilderService, kAudioService}) {
    Machine machine = StartedMachine();
    StopService(machine, stopped);
    BuildEndpointsSoon(machine, kRootId);
    Settle(machine);
    EXPECT_TRUE(machine.audio.endpoints.empty());
    RunService(machine, stopped);
    Advance(machine, machine.audio.buildDelay - 1);
    EXPECT_TRUE(machine.audio.endpoints.empty());
    Advance(machine, 1);
    EXPECT_EQ(CountEndpoints(machine, DEVICE_STATE_ACTIVE), 20u);
  }
}

TEST(AudioEndpointBuilder, FollowsAnIncompletePool) {
  DriverImage image = SoundImage(kSampleVersion);
  image.pool.erase(image.pool.begin() + 3);
  image.pool.push_back({12, 0, u"Odd"});
  image.pool.push_back({5, 7, u"Second capture of cable 6"});
  Machine machine = PublishedMachine(image);
  EXPECT_EQ(CountEndpoints(machine, DEVICE_STATE_ACTIVE), 21u);
  EXPECT_EQ(FindEndpoint(machine, kRootId, {3, 0}), nullptr);
  EXPECT_NE(FindEndpoint(machine, kRootId, {12, 0}), nullptr);
  EXPECT_EQ(IdsInView(machine).size(), 21u);
}

TEST(AudioEndpointBuilder, KeepsTheEndpointsOfTwoDevicesApart) {
  Machine machine = PublishedMachine();
  Device second = *machine.devices.Find(kRootId);
  second.instanceId = u"ROOT\\MEDIA\\0001";
  machine.devices.Insert(second);
  PublishEndpoints(machine, u"ROOT\\MEDIA\\0001");
  EXPECT_EQ(machine.audio.endpoints.size(), 40u);
  EXPECT_EQ(IdsInView(machine).size(), 40u);
  WithdrawEndpoints(machine, u"ROOT\\MEDIA\\0001");
  EXPECT_EQ(CountEndpoints(machine, DEVICE_STATE_ACTIVE), 20u);
  EXPECT_EQ(CountStartedChildren(machine), 20u);
}

// ------------------------------------------------------------------------------------------------
// Withdrawal and return.

TEST(AudioEndpointBuilder, WithdrawsEndpointsButNotTheirRecords) {
  Machine machine = PublishedMachine();
  WithdrawEndpoints(machine, kRootId);
  EXPECT_EQ(CountEndpoints(machine, DEVICE_STATE_NOTPRESENT), 20u);
  EXPECT_EQ(machine.devices.devices.size(), 1u);
  for (const AudioEndpoint& endpoint : machine.audio.endpoints)
    EXPECT_EQ(RecordState(machine, endpoint), DEVICE_STATE_NOTPRESENT);
}

TEST(AudioEndpointBuilder, BringsEveryEndpointBackWithItsId) {
  Machine machine = PublishedMachine();
  const auto before = IdsInView(machine);
  Restart(machine);
  EXPECT_TRUE(IdsInView(machine).empty());
  Settle(machine);
  EXPECT_EQ(IdsInView(machine), before);
  EXPECT_EQ(CountStartedChildren(machine), 20u);
  EXPECT_EQ(machine.audio.endpoints.size(), 20u);
  EXPECT_EQ(RecordState(machine, machine.audio.endpoints[0]), DEVICE_STATE_ACTIVE);
}

TEST(AudioEndpointBuilder, DropsTheBuildingOfAnEarlierStart) {
  Machine machine = StartedMachine();
  BuildEndpointsSoon(machine, kRootId);
  Advance(machine, 1000);
  Restart(machine);
  Advance(machine, machine.audio.buildDelay - 1);
  EXPECT_TRUE(machine.audio.endpoints.empty());
  Advance(machine, 1);
  EXPECT_EQ(CountEndpoints(machine, DEVICE_STATE_ACTIVE), 20u);
}

TEST(AudioEndpointBuilder, MintsANewIdWhenTheRecordIsGone) {
  Machine machine = PublishedMachine();
  const std::u16string first = IdOf(machine, kFirst);
  const std::u16string fifth = IdOf(machine, kFifthCapture);
  RemoveKeyTree(machine.registry, EndpointRecordPath(*FindEndpoint(machine, first)));
  Restart(machine);
  Settle(machine);
  EXPECT_NE(IdOf(machine, kFirst), first);
  EXPECT_EQ(IdOf(machine, kFifthCapture), fifth);
}

TEST(AudioEndpointBuilder, DoesNotRecreateADeletedRecordByWithdrawing) {
  Machine machine = PublishedMachine();
  const std::u16string path = EndpointRecordPath(*FindEndpoint(machine, kRootId, kFirst));
  RemoveKeyTree(machine.registry, path);
  WithdrawEndpoints(machine, kRootId);
  EXPECT_FALSE(FindKey(machine.registry, path));
}

// ------------------------------------------------------------------------------------------------
// Faulty builders.

TEST(AudioEndpointBuilder, MintsAllOrSomeNewIdsOnce) {
  for (const std::uint32_t count : {20u, 4u}) {
    Machine machine = PublishedMachine();
    const auto before = IdsInView(machine);
    machine.audio.remintNext = count;
    Restart(machine);
    Settle(machine);
    const auto after = IdsInView(machine);
    EXPECT_EQ(after.size(), 20u);
    EXPECT_EQ(CountShared(before, after), 20u - count);
    EXPECT_EQ(machine.audio.endpoints.size(), 20u + count);
    Restart(machine);
    Settle(machine);
    EXPECT_EQ(IdsInView(machine), after);
  }
}

TEST(AudioEndpointBuilder, OmitsEndpointsThatAreNeverPublished) {
  Machine machine = StartedMachine();
  machine.audio.neverPublished = {kFirst};
  PublishEndpoints(machine, kRootId);
  EXPECT_EQ(CountEndpoints(machine, DEVICE_STATE_ACTIVE), 19u);
  EXPECT_EQ(FindEndpoint(machine, kRootId, kFirst), nullptr);
}

TEST(AudioEndpointBuilder, PublishesADuplicateCableTwiceWithTwoStableIds) {
  Machine machine = StartedMachine();
  machine.audio.doubled = {kFirst};
  PublishEndpoints(machine, kRootId);
  EXPECT_EQ(CountEndpoints(machine, DEVICE_STATE_ACTIVE), 21u);
  const auto before = IdsInView(machine);
  EXPECT_EQ(before.size(), 21u);
  Restart(machine);
  Settle(machine);
  EXPECT_EQ(IdsInView(machine), before);
  ChangeEndpointVisibility(machine, kRootId, kFirst, false);
  EXPECT_EQ(CountEndpoints(machine, DEVICE_STATE_ACTIVE), 19u);
  ChangeEndpointVisibility(machine, kRootId, kFirst, true);
  EXPECT_EQ(IdsInView(machine), before);
}

TEST(AudioEndpointBuilder, PublishesSomeEndpointsLaterThanTheOthers) {
  Machine machine = StartedMachine();
  machine.audio.late = {kFirst, kFifthCapture};
  machine.audio.lateDelay = 7000;
  BuildEndpointsSoon(machine, kRootId);
  Advance(machine, machine.audio.buildDelay + 6999);
  EXPECT_EQ(CountEndpoints(machine, DEVICE_STATE_ACTIVE), 18u);
  Advance(machine, 1);
  EXPECT_EQ(CountEndpoints(machine, DEVICE_STATE_ACTIVE), 20u);
}

TEST(AudioEndpointBuilder, PlansEachKindOfBuildingOnce) {
  Machine machine = StartedMachine();
  machine.audio.late = {kFirst, kFifthCapture};
  machine.audio.lateDelay = 7000;
  machine.audio.childDelay = 3000;
  PublishEndpoints(machine, kRootId);
  EXPECT_EQ(machine.clock.events.size(), 2u);
}

TEST(AudioEndpointBuilder, IdlesNoRecordsOfADeviceThatHadNoEndpoints) {
  Machine machine = StartedMachine();
  machine.audio.recordDelay = 4000;
  WithdrawEndpoints(machine, kRootId);
  EXPECT_TRUE(machine.clock.events.empty());
}

TEST(AudioEndpointBuilder, BuildsNothingMoreForADeviceThatStopped) {
  Machine machine = StartedMachine();
  machine.audio.late = {kFirst};
  machine.audio.lateDelay = 7000;
  machine.audio.childDelay = 3000;
  PublishEndpoints(machine, kRootId);
  BuildEndpointsSoon(machine, kRootId);
  WithdrawEndpoints(machine, kRootId);
  EXPECT_TRUE(std::none_of(
      machine.clock.events.begin(), machine.clock.events.end(),
      [](const Event& event) { return event.kind != EventKind::IdleEndpointRecords; }));
}

TEST(AudioEndpointBuilder, LetsChildrenComeLaterOrNever) {
  Machine machine = StartedMachine();
  machine.audio.childDelay = 3000;
  PublishEndpoints(machine, kRootId);
  EXPECT_EQ(CountEndpoints(machine, DEVICE_STATE_ACTIVE), 20u);
  EXPECT_EQ(CountStartedChildren(machine), 0u);
  Advance(machine, 3000);
  EXPECT_EQ(CountStartedChildren(machine), 20u);
  machine.audio.childLags = true;
  Restart(machine);
  Settle(machine);
  EXPECT_EQ(CountEndpoints(machine, DEVICE_STATE_ACTIVE), 20u);
  EXPECT_EQ(CountStartedChildren(machine), 0u);
}

TEST(AudioEndpointBuilder, WritesAnotherCablePropertyWhereConfigured) {
  Machine machine = StartedMachine();
  machine.audio.properties[kFirst] = {VT_I4, 0xFFFFFFFF};
  machine.audio.properties[kFifthCapture] = {VT_LPWSTR, 4};
  PublishEndpoints(machine, kRootId);
  const AudioEndpoint& first = *FindEndpoint(machine, kRootId, kFirst);
  EXPECT_EQ(first.cable, (CableProperty{VT_I4, 0xFFFFFFFF}));
  EXPECT_EQ(ReadDword(machine, EndpointRecordPath(first) + u"\\Properties", kCableMarkerName),
            0xFFFFFFFFu);
  const AudioEndpoint& fifth = *FindEndpoint(machine, kRootId, kFifthCapture);
  EXPECT_EQ(
      FindValue(machine.registry, EndpointRecordPath(fifth) + u"\\Properties", kCableMarkerName)
          ->type,
      REG_SZ);
}

TEST(AudioEndpointBuilder, LetsRecordsOfWithdrawnEndpointsGoIdleLateOrNever) {
  Machine machine = PublishedMachine();
  machine.audio.recordDelay = 4000;
  WithdrawEndpoints(machine, kRootId);
  const AudioEndpoint endpoint = machine.audio.endpoints[0];
  Advance(machine, 3999);
  EXPECT_EQ(RecordState(machine, endpoint), DEVICE_STATE_ACTIVE);
  Advance(machine, 1);
  EXPECT_EQ(RecordState(machine, endpoint), DEVICE_STATE_NOTPRESENT);
  machine = PublishedMachine();
  machine.audio.recordsStayActive = true;
  WithdrawEndpoints(machine, kRootId);
  Settle(machine);
  EXPECT_EQ(RecordState(machine, endpoint), DEVICE_STATE_ACTIVE);
}

TEST(AudioEndpointBuilder, LeavesTheRecordsOfEndpointsThatCameBackActive) {
  Machine machine = PublishedMachine();
  machine.audio.recordDelay = 60'000;
  Restart(machine);
  Settle(machine);
  EXPECT_EQ(RecordState(machine, machine.audio.endpoints[0]), DEVICE_STATE_ACTIVE);
}

TEST(AudioEndpointBuilder, WithdrawsMidwayWhenPlanned) {
  Machine machine = PublishedMachine();
  Plan(machine, 5000, EventKind::WithdrawEndpoints, kRootId);
  Advance(machine, 5000);
  EXPECT_EQ(CountEndpoints(machine, DEVICE_STATE_NOTPRESENT), 20u);
  EXPECT_NE(machine.devices.Find(kRootId), nullptr);
}

// ------------------------------------------------------------------------------------------------
// The user's choice.

TEST(AudioEndpointBuilder, KeepsADisabledEndpointDisabledAcrossARestart) {
  Machine machine = PublishedMachine();
  const std::u16string id = IdOf(machine, kFirst);
  SetEndpointDisabled(machine, id, true);
  EXPECT_EQ(FindEndpoint(machine, id)->state, DEVICE_STATE_DISABLED);
  EXPECT_EQ(RecordState(machine, *FindEndpoint(machine, id)), DEVICE_STATE_DISABLED);
  EXPECT_EQ(FindChildDevice(machine, id)->problem, CM_PROB_DISABLED);
  EXPECT_EQ(CountStartedChildren(machine), 19u);
  Restart(machine);
  Settle(machine);
  EXPECT_EQ(FindEndpoint(machine, id)->state, DEVICE_STATE_DISABLED);
  EXPECT_EQ(CountStartedChildren(machine), 19u);
  SetEndpointDisabled(machine, id, false);
  EXPECT_EQ(FindEndpoint(machine, id)->state, DEVICE_STATE_ACTIVE);
  EXPECT_EQ(CountStartedChildren(machine), 20u);
}

TEST(AudioEndpointBuilder, RemembersTheChoiceForAnEndpointOutOfView) {
  Machine machine = PublishedMachine();
  const std::u16string id = IdOf(machine, kFirst);
  WithdrawEndpoints(machine, kRootId);
  SetEndpointDisabled(machine, id, true);
  EXPECT_EQ(FindEndpoint(machine, id)->state, DEVICE_STATE_NOTPRESENT);
  PublishEndpoints(machine, kRootId);
  EXPECT_EQ(FindEndpoint(machine, id)->state, DEVICE_STATE_DISABLED);
}

TEST(AudioEndpointBuilder, ActivatesADisabledEndpointWhereConfigured) {
  Machine machine = PublishedMachine();
  SetEndpointDisabled(machine, IdOf(machine, kFirst), true);
  machine.audio.activated = {kFirst};
  Restart(machine);
  Settle(machine);
  EXPECT_EQ(FindEndpoint(machine, kRootId, kFirst)->state, DEVICE_STATE_ACTIVE);
}

// ------------------------------------------------------------------------------------------------
// Visibility.

TEST(AudioEndpointBuilder, HidesADisabledEndpointAndShowsItDisabled) {
  Machine machine = PublishedMachine();
  const std::u16string id = IdOf(machine, kFirst);
  SetEndpointDisabled(machine, id, true);
  ChangeEndpointVisibility(machine, kRootId, kFirst, false);
  EXPECT_EQ(FindEndpoint(machine, id)->state, DEVICE_STATE_NOTPRESENT);
  EXPECT_EQ(RecordState(machine, *FindEndpoint(machine, id)), DEVICE_STATE_NOTPRESENT);
  EXPECT_EQ(FindChildDevice(machine, id), nullptr);
  ChangeEndpointVisibility(machine, kRootId, kFirst, true);
  EXPECT_EQ(FindEndpoint(machine, id)->state, DEVICE_STATE_DISABLED);
  EXPECT_EQ(FindChildDevice(machine, id)->problem, CM_PROB_DISABLED);
}

TEST(AudioEndpointBuilder, HidesAllTwentyAndShowsThemAgain) {
  Machine machine = PublishedMachine();
  const auto before = machine.audio.endpoints;
  for (std::uint32_t i = 0; i < 20; ++i)
    ChangeEndpointVisibility(machine, kRootId, {i % 10, i / 10}, false);
  EXPECT_EQ(CountEndpoints(machine, DEVICE_STATE_NOTPRESENT), 20u);
  EXPECT_EQ(CountStartedChildren(machine), 0u);
  for (std::uint32_t i = 0; i < 20; ++i)
    ChangeEndpointVisibility(machine, kRootId, {i % 10, i / 10}, true);
  EXPECT_EQ(machine.audio.endpoints, before);
  EXPECT_EQ(CountStartedChildren(machine), 20u);
}

TEST(AudioEndpointBuilder, DoesNotBuildHiddenEndpoints) {
  Machine machine = StartedMachine();
  ChangeEndpointVisibility(machine, kRootId, kFirst, false);
  PublishEndpoints(machine, kRootId);
  EXPECT_EQ(CountEndpoints(machine, DEVICE_STATE_ACTIVE), 19u);
  ChangeEndpointVisibility(machine, kRootId, kFirst, true);
  EXPECT_EQ(CountEndpoints(machine, DEVICE_STATE_ACTIVE), 20u);
}

TEST(AudioEndpointBuilder, ShowsNothingBeforeItsDelay) {
  Machine machine = StartedMachine();
  BuildEndpointsSoon(machine, kRootId);
  ChangeEndpointVisibility(machine, kRootId, kFirst, true);
  EXPECT_TRUE(machine.audio.endpoints.empty());
  Settle(machine);
  EXPECT_EQ(CountEndpoints(machine, DEVICE_STATE_ACTIVE), 20u);
}

// ------------------------------------------------------------------------------------------------
// Foreign endpoints and losses.

TEST(AudioEndpointBuilder, LeavesForeignEndpointsAlone) {
  Machine machine = PublishedMachine();
  const std::u16string id = AddForeignEndpoint(machine, true, u"HDAUDIO\\FUNC_01\\0001");
  const AudioEndpoint before = *FindEndpoint(machine, id);
  EXPECT_EQ(before.state, DEVICE_STATE_ACTIVE);
  EXPECT_FALSE(before.cable);
  EXPECT_EQ(FindChildDevice(machine, id)->parent, u"HDAUDIO\\FUNC_01\\0001");
  EXPECT_EQ(
      FindValue(machine.registry, EndpointRecordPath(before) + u"\\Properties", kCableMarkerName),
      nullptr);
  WithdrawEndpoints(machine, kRootId);
  EXPECT_EQ(*FindEndpoint(machine, id), before);
  EXPECT_NE(FindChildDevice(machine, id), nullptr);
  EXPECT_EQ(RecordState(machine, before), DEVICE_STATE_ACTIVE);
}

TEST(AudioEndpointBuilder, LosesAnEndpointWithItsChildButNotItsRecord) {
  Machine machine = PublishedMachine();
  const AudioEndpoint lost = *FindEndpoint(machine, kRootId, kFirst);
  LoseEndpoint(machine, lost.id);
  EXPECT_EQ(FindEndpoint(machine, lost.id), nullptr);
  EXPECT_EQ(FindChildDevice(machine, lost.id), nullptr);
  EXPECT_TRUE(FindKey(machine.registry, EndpointRecordPath(lost)));
  EXPECT_EQ(CountEndpoints(machine, DEVICE_STATE_ACTIVE), 19u);
  Restart(machine);
  Settle(machine);
  EXPECT_EQ(IdOf(machine, kFirst), lost.id);
}

}  // namespace
}  // namespace vorn::platform::simulated

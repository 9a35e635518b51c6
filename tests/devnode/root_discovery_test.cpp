#include "devnode/root_discovery.h"

#include "platform/config_manager.h"
#include "platform/last_error.h"
#include "platform/simulated/config_manager_values.h"
#include "tests/support/device_world.h"

#include <algorithm>
#include <string>
#include <vector>

namespace vorn {
namespace {

using platform::simulated::Device;
using tests::AlwaysFailingCall;
using tests::FailingCall;
using tests::kOtherRootId;
using tests::kRootId;

using Ids = std::vector<std::u16string>;

constexpr char16_t kChild[] = u"SWD\\MMDEVAPI\\{0.0.0.00000000}.{B}";
constexpr char16_t kEarlierChild[] = u"SWD\\MMDEVAPI\\{0.0.0.00000000}.{A}";

class RootDiscovery : public tests::DeviceWorld {
 protected:
  /// Adds a foreign device of the enumerator ROOT that is listed before the roots.
  void AddStranger() {
    Device& stranger = tests::AddStartedRoot(machine, u"ROOT\\AAA\\0000");
    stranger.hardwareIds = {u"Root\\Other"};
  }
  static void SetDriver(Device& root) {
    SetStringProperty(root, platform::DEVPKEY_Device_DriverVersion, u"26.8.10.5");
    SetStringProperty(root, platform::DEVPKEY_Device_Service, u"VornAudio");
    SetStringProperty(root, platform::DEVPKEY_Device_DriverInfPath, u"oem3.inf");
  }
  static void ExpectDriver(const LiveRoot& live) {
    EXPECT_EQ(live.driverVersion, u"26.8.10.5");
    EXPECT_EQ(live.service, u"VornAudio");
    EXPECT_EQ(live.driverInfPath, u"oem3.inf");
  }
  /// Expects every field but the reason to be empty.
  static void ExpectNoDetails(const LiveRoot& live) {
    EXPECT_FALSE(live.ok);
    EXPECT_FALSE(live.startedCleanly);
    EXPECT_FALSE(live.disabled);
    EXPECT_EQ(live.presentCount, 0U);
    EXPECT_EQ(live.instanceId, u"");
    EXPECT_EQ(live.driverVersion, u"");
    EXPECT_EQ(live.service, u"");
    EXPECT_EQ(live.driverInfPath, u"");
    EXPECT_EQ(live.endpointChildren, Ids{});
  }
};

TEST_F(RootDiscovery, FindsTheStartedRootWithItsDriverAndChildren) {
  AddStranger();
  SetDriver(tests::AddStartedRoot(machine));
  tests::AddEndpointChild(machine, kRootId, kChild);
  tests::AddEndpointChild(machine, kRootId, kEarlierChild);

  const LiveRoot live = DiscoverLiveRoot();
  EXPECT_TRUE(live.ok);
  EXPECT_TRUE(live.startedCleanly);
  EXPECT_FALSE(live.disabled);
  EXPECT_EQ(live.presentCount, 1U);
  EXPECT_EQ(live.instanceId, kRootId);
  ExpectDriver(live);
  EXPECT_EQ(live.endpointChildren, (Ids{kEarlierChild, kChild}));
  EXPECT_EQ(live.reason, u"");
}

TEST_F(RootDiscovery, LooksAtPresentRootEnumeratedDevicesOfEveryClass) {
  tests::AddStartedRoot(machine);
  DiscoverLiveRoot();
  const auto calls = tests::CallsOf(process, "SetupDiGetClassDevsW");
  ASSERT_EQ(calls.size(), 1U);
  EXPECT_EQ(calls[0].Argument("Enumerator"), "ROOT");
  EXPECT_EQ(calls[0].Argument("Flags"), "0x6");
}

TEST_F(RootDiscovery, ReportsAListThatCannotBeMade) {
  tests::AddStartedRoot(machine);
  process.faults = {FailingCall("SetupDiGetClassDevsW", 5)};
  const LiveRoot live = DiscoverLiveRoot();
  ExpectNoDetails(live);
  EXPECT_EQ(live.reason, u"SetupDiGetClassDevs(live root) failed");
}

TEST_F(RootDiscovery, ReportsThatNoRootIsPresent) {
  AddStranger();
  tests::AddGhostRoot(machine, kRootId);
  const LiveRoot live = DiscoverLiveRoot();
  ExpectNoDetails(live);
  EXPECT_EQ(live.reason, u"no present Root\\VornAudio devnode");
}

TEST_F(RootDiscovery, DescribesTheFirstOfTwoPresentRoots) {
  tests::AddStartedRoot(machine, kRootId);
  tests::AddStoppedRoot(machine, kOtherRootId, platform::CM_PROB_DISABLED);
  tests::AddEndpointChild(machine, kRootId, kChild);
  tests::AddEndpointChild(machine, kOtherRootId, kEarlierChild);
  const LiveRoot live = DiscoverLiveRoot();
  EXPECT_FALSE(live.ok);
  EXPECT_EQ(live.presentCount, 2U);
  EXPECT_EQ(live.instanceId, kRootId);
  EXPECT_TRUE(live.startedCleanly);
  EXPECT_FALSE(live.disabled);
  EXPECT_EQ(live.endpointChildren, Ids{kChild});
  EXPECT_EQ(live.reason, u"multiple present Root\\VornAudio devnodes");
}

TEST_F(RootDiscovery, CountsEveryPresentRootAndReadsTheFirst) {
  SetDriver(tests::AddStartedRoot(machine, kRootId));
  tests::AddStoppedRoot(machine, kOtherRootId, 28);
  tests::AddGhostRoot(machine, u"ROOT\\MEDIA\\0002");
  tests::AddStartedRoot(machine, u"ROOT\\MEDIA\\0003");
  const LiveRoot live = DiscoverLiveRoot();
  EXPECT_EQ(live.presentCount, 3U);
  ExpectDriver(live);
  EXPECT_EQ(CountOf("SetupDiGetDeviceInstanceIdW"), 2U);
  EXPECT_EQ(CountOf("CM_Get_DevNode_Status"), 1U);
  EXPECT_EQ(CountOf("CM_Get_Child"), 1U);
}

TEST_F(RootDiscovery, ReportsAWrongCountBeforeAMissingIdAndThatBeforeAStoppedRoot) {
  tests::AddStoppedRoot(machine, kRootId, 28);
  process.faults = {AlwaysFailingCall("SetupDiGetDeviceInstanceIdW", 13)};
  EXPECT_EQ(DiscoverLiveRoot().reason, u"present VORN root has no device instance id");
  tests::AddStartedRoot(machine, kOtherRootId);
  EXPECT_EQ(DiscoverLiveRoot().reason, u"multiple present Root\\VornAudio devnodes");
  process.faults.clear();
  EXPECT_EQ(DiscoverLiveRoot().reason, u"multiple present Root\\VornAudio devnodes");
}

TEST_F(RootDiscovery, ReadsTheIdThenTheDriverThenTheStatusThenTheChildren) {
  tests::AddStartedRoot(machine);
  DiscoverLiveRoot();
  EXPECT_EQ(
      tests::CallNames(process),
      (std::vector<std::string>{
          "SetupDiGetClassDevsW", "SetupDiEnumDeviceInfo", "SetupDiGetDeviceRegistryPropertyW",
          "SetupDiGetDeviceInstanceIdW", "SetupDiGetDeviceInstanceIdW", "SetupDiGetDevicePropertyW",
          "SetupDiGetDevicePropertyW", "SetupDiGetDevicePropertyW", "CM_Get_DevNode_Status",
          "CM_Get_Child", "SetupDiEnumDeviceInfo", "SetupDiDestroyDeviceInfoList"}));
  std::vector<std::string> keys;
  for (const auto& call : tests::CallsOf(process, "SetupDiGetDevicePropertyW")) {
    keys.push_back(call.Argument("PropertyKeyFmtid") + " " + call.Argument("PropertyKeyPid"));
  }
  EXPECT_EQ(keys, (std::vector<std::string>{"{A8B865DD-2E3D-4094-AD97-E593A70C75D6} 3",
                                            "{A45C254E-DF1C-4EFD-8020-67D146A850E0} 6",
                                            "{A8B865DD-2E3D-4094-AD97-E593A70C75D6} 5"}));
}

TEST_F(RootDiscovery, ReadsOnlyTheFactsThatAreAskedFor) {
  SetDriver(tests::AddStartedRoot(machine));
  tests::AddEndpointChild(machine, kRootId, kChild);

  const LiveRoot state = DiscoverLiveRoot(RootFacts::State);
  EXPECT_TRUE(state.ok);
  EXPECT_EQ(state.instanceId, kRootId);
  EXPECT_EQ(state.driverVersion + state.service + state.driverInfPath, u"");
  EXPECT_EQ(state.endpointChildren, Ids{});
  EXPECT_EQ(
      tests::CallNames(process),
      (std::vector<std::string>{"SetupDiGetClassDevsW", "SetupDiEnumDeviceInfo",
                                "SetupDiGetDeviceRegistryPropertyW", "SetupDiGetDeviceInstanceIdW",
                                "SetupDiGetDeviceInstanceIdW", "CM_Get_DevNode_Status",
                                "SetupDiEnumDeviceInfo", "SetupDiDestroyDeviceInfoList"}));

  const LiveRoot children = DiscoverLiveRoot(RootFacts::Children);
  EXPECT_TRUE(children.ok);
  EXPECT_EQ(children.driverVersion + children.service + children.driverInfPath, u"");
  EXPECT_EQ(children.endpointChildren, Ids{kChild});
  EXPECT_TRUE(tests::CallsOf(process, "SetupDiGetDevicePropertyW").empty());
}

TEST_F(RootDiscovery, DescribesARootWhateverItsStatus) {
  struct Row {
    std::uint32_t problem;
    std::uint32_t statusError;
  };
  for (const Row& row : {Row{28, 0}, Row{0, platform::CR_FAILURE}}) {
    machine = {};
    Device& root = tests::AddStoppedRoot(machine, kRootId, row.problem);
    root.statusError = row.statusError;
    SetDriver(root);
    tests::AddEndpointChild(machine, kRootId, kChild);
    const LiveRoot live = DiscoverLiveRoot();
    EXPECT_FALSE(live.ok) << row.problem;
    EXPECT_EQ(live.instanceId, kRootId) << row.problem;
    ExpectDriver(live);
    EXPECT_EQ(live.endpointChildren, Ids{kChild}) << row.problem;
  }
}

TEST_F(RootDiscovery, SortsTheChildrenOfALiveRootByCodeUnits) {
  tests::AddStartedRoot(machine);
  for (const char16_t* id : {u"SWD\\MMDEVAPI\\b", u"SWD\\MMDEVAPI\\A", u"SWD\\MMDEVAPI\\C"}) {
    tests::AddEndpointChild(machine, kRootId, id);
  }
  EXPECT_EQ(DiscoverLiveRoot().endpointChildren,
            (Ids{u"SWD\\MMDEVAPI\\A", u"SWD\\MMDEVAPI\\C", u"SWD\\MMDEVAPI\\b"}));
}

TEST_F(RootDiscovery, LeavesTheChildrenOfARootThatIsNotLiveUnsorted) {
  tests::AddStoppedRoot(machine, kRootId, 28);
  tests::AddEndpointChild(machine, kRootId, kChild);
  tests::AddEndpointChild(machine, kRootId, kEarlierChild);
  EXPECT_EQ(DiscoverLiveRoot().endpointChildren, (Ids{kChild, kEarlierChild}));
}

TEST_F(RootDiscovery, ReportsAnIdThatCannotBeRead) {
  SetDriver(tests::AddStartedRoot(machine));
  tests::AddEndpointChild(machine, kRootId, kChild);
  process.faults = {FailingCall("SetupDiGetDeviceInstanceIdW", 13)};
  const LiveRoot live = DiscoverLiveRoot();
  EXPECT_FALSE(live.ok);
  EXPECT_TRUE(live.startedCleanly);
  EXPECT_EQ(live.presentCount, 1U);
  EXPECT_EQ(live.reason, u"present VORN root has no device instance id");
  ExpectDriver(live);
  EXPECT_EQ(live.endpointChildren, Ids{kChild});
}

TEST_F(RootDiscovery, DescribesTheFirstRootEvenIfOnlyTheSecondHasAnId) {
  tests::AddStartedRoot(machine, kRootId);
  tests::AddStoppedRoot(machine, tests::kOtherRootId, 28);
  process.faults = {FailingCall("SetupDiGetDeviceInstanceIdW", 13)};
  const LiveRoot live = DiscoverLiveRoot();
  EXPECT_EQ(live.presentCount, 2U);
  EXPECT_EQ(live.instanceId, u"");
  EXPECT_TRUE(live.startedCleanly);
}

TEST_F(RootDiscovery, RecognisesADisabledRoot) {
  tests::AddStoppedRoot(machine, kRootId, platform::CM_PROB_DISABLED);
  const LiveRoot live = DiscoverLiveRoot();
  EXPECT_FALSE(live.ok);
  EXPECT_FALSE(live.startedCleanly);
  EXPECT_TRUE(live.disabled);
  EXPECT_EQ(live.instanceId, kRootId);
  EXPECT_EQ(live.reason, u"present VORN root is not started cleanly");
}

TEST_F(RootDiscovery, RecognisesADisabledRootByItsProblemAlone) {
  tests::AddStartedRoot(machine).problem = platform::CM_PROB_DISABLED;
  EXPECT_TRUE(DiscoverLiveRoot().disabled);
}

TEST_F(RootDiscovery, NeedsBothTheStartAndNoProblem) {
  struct Row {
    bool started;
    std::uint32_t problem;
  };
  Device& root = tests::AddStartedRoot(machine);
  constexpr std::uint32_t kDisabledByHardware = 29;
  for (const Row& row :
       {Row{false, 0}, Row{false, 10}, Row{true, 14}, Row{false, kDisabledByHardware}}) {
    root.status = row.started ? platform::DN_STARTED : 0;
    root.problem = row.problem;
    const LiveRoot live = DiscoverLiveRoot();
    EXPECT_FALSE(live.ok) << row.started << row.problem;
    EXPECT_FALSE(live.startedCleanly) << row.started << row.problem;
    EXPECT_FALSE(live.disabled) << row.started << row.problem;
    EXPECT_EQ(live.reason, u"present VORN root is not started cleanly");
  }
}

TEST_F(RootDiscovery, TreatsAnUnknownStatusAsNotStarted) {
  Device& root = tests::AddStoppedRoot(machine, kRootId, platform::CM_PROB_DISABLED);
  root.statusError = platform::CR_NO_SUCH_DEVNODE;
  const LiveRoot live = DiscoverLiveRoot();
  EXPECT_FALSE(live.startedCleanly);
  EXPECT_FALSE(live.disabled);
  EXPECT_EQ(live.reason, u"present VORN root is not started cleanly");
}

TEST_F(RootDiscovery, AcceptsARootWithoutDriverProperties) {
  tests::AddStartedRoot(machine);
  process.faults = {AlwaysFailingCall("SetupDiGetDevicePropertyW", 5)};
  const LiveRoot live = DiscoverLiveRoot();
  EXPECT_TRUE(live.ok);
  EXPECT_EQ(live.driverVersion, u"");
  EXPECT_EQ(live.service, u"");
  EXPECT_EQ(live.driverInfPath, u"");
}

TEST_F(RootDiscovery, AcceptsAnEnumerationThatEndsEarly) {
  tests::AddStartedRoot(machine, kRootId);
  tests::AddStartedRoot(machine, kOtherRootId);
  process.faults = {FailingCall("SetupDiEnumDeviceInfo", 5, 2)};
  EXPECT_TRUE(DiscoverLiveRoot().ok);
}

TEST_F(RootDiscovery, ChangesAndPrintsNothing) {
  tests::AddStartedRoot(machine);
  DiscoverLiveRoot();
  CountInstalledRoots();
  EXPECT_TRUE(process.console.empty());
  EXPECT_EQ(CountOf("SetupDiCallClassInstaller"), 0U);
  EXPECT_EQ(CountOf("SetupDiSetClassInstallParamsW"), 0U);
}

// ------------------------------------------------------------------------------------------------

class InstalledRootCount : public RootDiscovery {};

TEST_F(InstalledRootCount, CountsPresentAndAbsentRoots) {
  EXPECT_EQ(CountInstalledRoots(), 0);
  AddStranger();
  EXPECT_EQ(CountInstalledRoots(), 0);
  tests::AddStartedRoot(machine, kRootId);
  tests::AddGhostRoot(machine, kOtherRootId);
  EXPECT_EQ(CountInstalledRoots(), 2);
  EXPECT_EQ(tests::CallsOf(process, "SetupDiGetClassDevsW").back().Argument("Flags"), "0x4");
}

TEST_F(InstalledRootCount, IsUnknownWithoutAList) {
  process.faults = {FailingCall("SetupDiGetClassDevsW", 8)};
  EXPECT_EQ(CountInstalledRoots(), std::nullopt);
  EXPECT_EQ(CountOf("SetupDiEnumDeviceInfo"), 0U);
}

TEST_F(InstalledRootCount, IsUnknownWhenTheEnumerationBreaksOff) {
  tests::AddStartedRoot(machine, kRootId);
  tests::AddGhostRoot(machine, kOtherRootId);
  process.faults = {FailingCall("SetupDiEnumDeviceInfo", 13, 2)};
  EXPECT_EQ(CountInstalledRoots(), std::nullopt);
}

TEST_F(InstalledRootCount, IsUnknownWhenTheEnumerationFailsAtTheFirstDevice) {
  for (const std::uint32_t error : {std::uint32_t{13}, platform::ERROR_FILE_NOT_FOUND}) {
    process.callCounts.clear();
    process.faults = {FailingCall("SetupDiEnumDeviceInfo", error)};
    EXPECT_EQ(CountInstalledRoots(), std::nullopt) << error;
  }
}

TEST_F(InstalledRootCount, LeavesOutARootWhoseHardwareIdsCannotBeRead) {
  tests::AddStartedRoot(machine, kRootId);
  tests::AddGhostRoot(machine, kOtherRootId);
  process.faults = {FailingCall("SetupDiGetDeviceRegistryPropertyW", 13)};
  EXPECT_EQ(CountInstalledRoots(), 1);
}

// ------------------------------------------------------------------------------------------------

class PresentRootIds : public RootDiscovery {};

TEST_F(PresentRootIds, AreSortedAndLeaveOutGhosts) {
  AddStranger();
  tests::AddGhostRoot(machine, u"ROOT\\MEDIA\\0002");
  tests::AddStartedRoot(machine, kOtherRootId);
  tests::AddStoppedRoot(machine, kRootId, 28);
  std::reverse(machine.devices.devices.begin(), machine.devices.devices.end());
  const RootListing listing = ListPresentRootIds();
  EXPECT_TRUE(listing.complete);
  EXPECT_EQ(listing.ids, (Ids{kRootId, kOtherRootId}));
  EXPECT_EQ(tests::CallsOf(process, "SetupDiGetClassDevsW").back().Argument("Flags"), "0x6");
}

TEST_F(PresentRootIds, AreNoneOnAMachineWithoutRoots) {
  const RootListing listing = ListPresentRootIds();
  EXPECT_TRUE(listing.complete);
  EXPECT_EQ(listing.ids, Ids{});
}

TEST_F(PresentRootIds, FailWithoutAList) {
  process.faults = {FailingCall("SetupDiGetClassDevsW", 5)};
  const RootListing listing = ListPresentRootIds();
  EXPECT_FALSE(listing.complete);
  EXPECT_EQ(listing.ids, Ids{});
  EXPECT_EQ(CountOf("SetupDiEnumDeviceInfo"), 0U);
}

TEST_F(PresentRootIds, FailWhenAnIdCannotBeRead) {
  tests::AddStartedRoot(machine, kRootId);
  tests::AddStartedRoot(machine, kOtherRootId);
  for (const std::uint32_t nth : {1U, 2U, 3U, 4U}) {
    process.callCounts.clear();
    process.faults = {FailingCall("SetupDiGetDeviceInstanceIdW", 5, nth)};
    EXPECT_FALSE(ListPresentRootIds().complete) << nth;
  }
}

TEST_F(PresentRootIds, StopAtTheFirstThatCannotBeReadAndAreStillSorted) {
  for (const char16_t* id : {u"ROOT\\MEDIA\\0003", u"ROOT\\MEDIA\\0002", kOtherRootId, kRootId}) {
    tests::AddStartedRoot(machine, id);
  }
  std::reverse(machine.devices.devices.begin(), machine.devices.devices.end());
  process.faults = {FailingCall("SetupDiGetDeviceInstanceIdW", 5, 5)};
  const RootListing listing = ListPresentRootIds();
  EXPECT_FALSE(listing.complete);
  EXPECT_EQ(listing.ids, (Ids{u"ROOT\\MEDIA\\0002", u"ROOT\\MEDIA\\0003"}));
  EXPECT_EQ(CountOf("SetupDiEnumDeviceInfo"), 3U);
}

TEST_F(PresentRootIds, AreSortedByCodeUnits) {
  tests::AddStartedRoot(machine, u"ROOT\\a\\0000");
  tests::AddStartedRoot(machine, u"ROOT\\B\\0000");
  EXPECT_EQ(ListPresentRootIds().ids, (Ids{u"ROOT\\B\\0000", u"ROOT\\a\\0000"}));
}

TEST_F(PresentRootIds, FailWhenTheEnumerationBreaksOffAndAreStillSorted) {
  tests::AddStartedRoot(machine, kRootId);
  tests::AddStartedRoot(machine, kOtherRootId);
  std::reverse(machine.devices.devices.begin(), machine.devices.devices.end());
  process.faults = {FailingCall("SetupDiEnumDeviceInfo", 13, 3)};
  const RootListing listing = ListPresentRootIds();
  EXPECT_FALSE(listing.complete);
  EXPECT_EQ(listing.ids, (Ids{kRootId, kOtherRootId}));
}

}  // namespace
}  // namespace vorn

// Devices that are query-removed, removed, or restarted in place.

#include "platform/simulated/device_removal.h"

#include "platform/simulated/config_manager_values.h"
#include "platform/simulated/endpoint_builder.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/neighbours.h"
#include "tests/simulated/device_calls.h"
#include "tests/support/sample.h"

#include <algorithm>

namespace vorn::tests {

using namespace platform;
using namespace platform::simulated;

namespace {

constexpr std::uint32_t kRestartFlags = DI_NEEDRESTART | DI_NEEDREBOOT;

struct Removal {
  bool removed;
  std::uint32_t error;
  std::uint32_t flags;
};

Removal Remove(const char16_t* id = kRootId) {
  const HDEVINFO list = ListRoots(false);
  const SP_DEVINFO_DATA device = ElementOf(list, id);
  Removal removal = {};
  removal.removed = RemoveFrom(list, device);
  removal.error = removal.removed ? 0 : GetLastError();
  removal.flags = InstallFlagsOf(list, device) & kRestartFlags;
  SetupDiDestroyDeviceInfoList(list);
  return removal;
}

struct Restart {
  bool restarted;
  std::uint32_t error;
  std::uint32_t flags;
};

Restart RestartRoot() {
  const HDEVINFO list = ListRoots(true);
  const SP_DEVINFO_DATA device = ElementOf(list, kRootId);
  Restart restart = {};
  restart.restarted = RestartFrom(list, device);
  restart.error = restart.restarted ? 0 : GetLastError();
  restart.flags = InstallFlagsOf(list, device) & kRestartFlags;
  SetupDiDestroyDeviceInfoList(list);
  return restart;
}

struct Veto {
  CONFIGRET result;
  std::uint32_t type;
  std::u16string name;
};

Veto QueryRemove(std::uint32_t nameSize = 260) {
  Veto veto = {};
  char16_t name[260] = {};
  veto.result = CM_Query_And_Remove_SubTreeW(NodeOf(kRootId), &veto.type, name, nameSize,
                                             CM_REMOVE_UI_NOT_OK | CM_REMOVE_NO_RESTART);
  veto.name = name;
  return veto;
}

/// A device below the root that is no endpoint.
Device& AddBelowRoot(World& world) {
  Device below;
  below.instanceId = u"SWD\\OTHER\\0000";
  below.parent = kRootId;
  below.present = true;
  world.machine.devices.Insert(std::move(below));
  return world.Device(u"SWD\\OTHER\\0000");
}

}  // namespace

TEST(DeviceRemoval, RemovesTheDeviceWithItsEndpointsAndItsImage) {
  World world(InstalledMachine());
  const auto foreign = DescribeForeignParts(world.machine);
  const Removal removal = Remove();
  EXPECT_TRUE(removal.removed);
  EXPECT_EQ(removal.flags, 0u);
  EXPECT_FALSE(world.Has(kRootId));
  EXPECT_EQ(CountEndpointsInView(world.machine), 0u);
  for (const Device& device : world.machine.devices.devices)
    EXPECT_NE(device.parent, kRootId);
  EXPECT_EQ(DescribeForeignParts(world.machine), foreign);
}

TEST(DeviceRemoval, LeavesThePackageAndTheEndpointRecords) {
  World world(InstalledMachine());
  const auto packages = world.machine.store.packages;
  Remove();
  EXPECT_EQ(world.machine.store.packages, packages);
  std::size_t records = 0;
  for (const AudioEndpoint& endpoint : world.machine.audio.endpoints) {
    if (endpoint.root == kRootId && FindKey(world.machine.registry, EndpointRecordPath(endpoint))) {
      ++records;
    }
  }
  EXPECT_EQ(records, 20u);
}

TEST(DeviceRemoval, WorksWithoutAParameterBlock) {
  World world(InstalledMachine());
  const HDEVINFO list = ListRoots(true);
  const SP_DEVINFO_DATA device = ElementOf(list, kRootId);
  EXPECT_TRUE(SetupDiCallClassInstaller(DIF_REMOVE, list, &device));
  EXPECT_FALSE(world.Has(kRootId));
}

TEST(DeviceRemoval, OfAnAbsentDeviceForgetsIt) {
  World world(DuplicatesMachine());
  EXPECT_TRUE(Remove(u"ROOT\\MEDIA\\0001").removed);
  EXPECT_FALSE(world.Has(u"ROOT\\MEDIA\\0001"));
  EXPECT_TRUE(IsStarted(world.Device(kRootId)));
}

TEST(DeviceRemoval, OfARemovedDeviceFails) {
  World world(InstalledMachine());
  const HDEVINFO list = ListRoots(true);
  const SP_DEVINFO_DATA device = ElementOf(list, kRootId);
  RemoveDeviceNode(world.machine, kRootId);
  EXPECT_FALSE(SetupDiCallClassInstaller(DIF_REMOVE, list, &device));
  EXPECT_EQ(GetLastError(), ERROR_NO_SUCH_DEVINST);
}

TEST(DeviceRemoval, OfAnUnregisteredDeviceUndoesItsCreation) {
  World world(CleanMachine());
  const auto before = world.machine.devices;
  const HDEVINFO list = SetupDiCreateDeviceInfoList(&kMediaClass);
  SP_DEVINFO_DATA device = EmptyDevice();
  ASSERT_TRUE(
      SetupDiCreateDeviceInfoW(list, u"MEDIA", &kMediaClass, nullptr, DICD_GENERATE_ID, &device));
  EXPECT_TRUE(SetupDiCallClassInstaller(DIF_REMOVE, list, &device));
  EXPECT_FALSE(SetupDiCallClassInstaller(DIF_REGISTERDEVICE, list, &device) &&
               world.machine.devices != before);
}

TEST(DeviceRemoval, FailsWithTheConfiguredError) {
  World world(InstalledMachine());
  world.Device(kRootId).temper.removeError = ERROR_ACCESS_DENIED;
  const Removal removal = Remove();
  EXPECT_FALSE(removal.removed);
  EXPECT_EQ(removal.error, ERROR_ACCESS_DENIED);
  EXPECT_TRUE(IsStarted(world.Device(kRootId)));
}

TEST(DeviceRemoval, CanAskForARestartAlthoughItIsDone) {
  World world(InstalledMachine());
  world.Device(kRootId).temper.removeNeedsRestart = true;
  const Removal removal = Remove();
  EXPECT_EQ(removal.flags, DI_NEEDREBOOT);
  EXPECT_FALSE(world.Has(kRootId));
}

TEST(DeviceRemoval, AsksForARestartWhenPlanned) {
  World world(InstalledMachine());
  Fault fault;
  fault.call = "SetupDiCallClassInstaller";
  fault.kind = FaultKind::AskRestart;
  world.process.faults = {fault};
  EXPECT_EQ(Remove().flags, DI_NEEDREBOOT);
}

TEST(DeviceRemoval, CanWaitForTheRestartWhileTheDeviceRunsOn) {
  World world(InstalledMachine());
  world.Device(kRootId).temper.removeKeepsNodeUntilRestart = true;
  EXPECT_TRUE(Remove().removed);
  EXPECT_TRUE(IsStarted(world.Device(kRootId)));
  EXPECT_NE(world.Device(kRootId).status & DN_WILL_BE_REMOVED, 0u);
  EXPECT_EQ(CountEndpointsInView(world.machine), 20u);
  Reboot(world.machine);
  EXPECT_FALSE(world.Has(kRootId));
}

TEST(DeviceRemoval, CanTakeTimeWithTheDeviceStopped) {
  World world(InstalledMachine());
  world.Device(kRootId).temper.removeDelay = 20'000;
  EXPECT_TRUE(Remove().removed);
  EXPECT_EQ(StateOf(NodeOf(kRootId)).problem, CM_PROB_WILL_BE_REMOVED);
  EXPECT_EQ(CountEndpointsInView(world.machine), 0u);
  world.Wait(19'999);
  EXPECT_TRUE(world.Has(kRootId));
  world.Wait(1);
  EXPECT_FALSE(world.Has(kRootId));
}

TEST(DeviceRemoval, InProgressDoesNotAffectTheNextDeviceOfThatName) {
  World world(InstalledMachine());
  world.Device(kRootId).temper.removeDelay = 20'000;
  Remove();
  RemoveDeviceNode(world.machine, kRootId);
  AddRoot(world.machine, kRootId);
  world.Wait(30'000);
  EXPECT_TRUE(world.Has(kRootId));
}

TEST(DeviceQueryRemoval, StopsTheDeviceAndLeavesItInstalled) {
  World world(InstalledMachine());
  EXPECT_EQ(QueryRemove().result, CR_SUCCESS);
  const DEVINST node = NodeOf(kRootId);
  ASSERT_NE(node, 0u);
  std::uint32_t status = 0;
  std::uint32_t problem = 0;
  EXPECT_EQ(CM_Get_DevNode_Status(&status, &problem, node), CR_SUCCESS);
  EXPECT_EQ(status & (DN_STARTED | DN_HAS_PROBLEM), DN_HAS_PROBLEM);
  EXPECT_EQ(problem, CM_PROB_WILL_BE_REMOVED);
  EXPECT_FALSE(world.Device(kRootId).resident.has_value());
  EXPECT_EQ(CountEndpointsInView(world.machine), 0u);
  EXPECT_EQ(IdsOf(ListRoots(true)).size(), 2u);
  EXPECT_TRUE(Remove().removed);
  EXPECT_FALSE(world.Has(kRootId));
}

TEST(DeviceQueryRemoval, LastsUntilTheDeviceIsSetUpAgain) {
  World world(InstalledMachine());
  EXPECT_EQ(QueryRemove().result, CR_SUCCESS);
  world.Wait(60'000);
  EXPECT_FALSE(IsStarted(world.Device(kRootId)));
  EXPECT_TRUE(RestartRoot().restarted);
  world.Wait(60'000);
  EXPECT_TRUE(IsStarted(world.Device(kRootId)));
}

TEST(DeviceQueryRemoval, LastsUntilTheRestartWhenTheRemovalFails) {
  World world(InstalledMachine());
  world.Device(kRootId).temper.removeError = ERROR_ACCESS_DENIED;
  EXPECT_EQ(QueryRemove().result, CR_SUCCESS);
  EXPECT_FALSE(Remove().removed);
  world.Wait(60'000);
  EXPECT_TRUE(world.Has(kRootId));
  EXPECT_FALSE(IsStarted(world.Device(kRootId)));
  Reboot(world.machine);
  EXPECT_TRUE(IsStarted(world.Device(kRootId)));
}

TEST(DeviceQueryRemoval, IsVetoedAsOftenAsConfigured) {
  World world(InstalledMachine());
  world.Device(kRootId).temper.vetoes = 2;
  for (int i = 0; i < 2; ++i) {
    const Veto veto = QueryRemove();
    EXPECT_EQ(veto.result, CR_REMOVE_VETOED);
    EXPECT_EQ(veto.type, 6u);
    EXPECT_EQ(veto.name, u"SWD\\MMDEVAPI\\audiodg.exe");
    EXPECT_TRUE(IsStarted(world.Device(kRootId)));
  }
  EXPECT_EQ(QueryRemove().result, CR_SUCCESS);
}

TEST(DeviceQueryRemoval, IsVetoedUntilATick) {
  World world(InstalledMachine());
  world.Device(kRootId).temper.vetoUntil = world.machine.clock.tick + 1000;
  EXPECT_EQ(QueryRemove().result, CR_REMOVE_VETOED);
  world.Wait(999);
  EXPECT_EQ(QueryRemove().result, CR_REMOVE_VETOED);
  world.Wait(1);
  EXPECT_EQ(QueryRemove().result, CR_SUCCESS);
}

TEST(DeviceQueryRemoval, IsVetoedByAnEndpointBelowTheDevice) {
  World world(InstalledMachine());
  for (Device& device : world.machine.devices.devices) {
    if (device.parent != kRootId) continue;
    device.temper.vetoes = 1;
    device.temper.vetoType = 3;
    device.temper.vetoName = u"player.exe";
    break;
  }
  const Veto veto = QueryRemove();
  EXPECT_EQ(veto.result, CR_REMOVE_VETOED);
  EXPECT_EQ(veto.type, 3u);
  EXPECT_EQ(veto.name, u"player.exe");
  EXPECT_EQ(QueryRemove().result, CR_SUCCESS);
}

TEST(DeviceQueryRemoval, CutsTheNameToTheBuffer) {
  World world(InstalledMachine());
  world.Device(kRootId).temper.vetoes = 5;
  EXPECT_EQ(QueryRemove(4).name, u"SWD");
  EXPECT_EQ(CM_Query_And_Remove_SubTreeW(NodeOf(kRootId), nullptr, nullptr, 0, 0),
            CR_REMOVE_VETOED);
}

TEST(DeviceQueryRemoval, ReturnsAnyOtherConfiguredRefusal) {
  World world(InstalledMachine());
  world.Device(kRootId).temper.queryRemoveResult = CR_ACCESS_DENIED;
  const Veto veto = QueryRemove();
  EXPECT_EQ(veto.result, CR_ACCESS_DENIED);
  EXPECT_EQ(veto.type, 0u);
  EXPECT_EQ(veto.name, u"");
  EXPECT_TRUE(IsStarted(world.Device(kRootId)));
}

TEST(DeviceRemoval, ForgetsTheStartThatWasPlannedForADeviceBelow) {
  World world(InstalledMachine());
  const std::u16string child = AddBelowRoot(world).instanceId;
  Plan(world.machine, 1000, EventKind::StartDevice, child);
  RemoveDeviceNode(world.machine, kRootId);
  ASSERT_FALSE(world.Has(child));
  const auto& events = world.machine.clock.events;
  EXPECT_TRUE(std::none_of(events.begin(), events.end(),
                           [&](const Event& event) { return event.subject == child; }));
}

TEST(DeviceRemoval, ThatWasOnlyAskedForIsForgottenAtARestart) {
  World world(InstalledMachine());
  AddRoot(world.machine, u"ROOT\\MEDIA\\0007");
  EXPECT_EQ(QueryRemove().result, CR_SUCCESS);
  EXPECT_EQ(simulated::QueryRemove(world.machine, u"ROOT\\MEDIA\\0007").result, CR_SUCCESS);
  Reboot(world.machine);
  EXPECT_TRUE(IsStarted(world.Device(kRootId)));
  EXPECT_EQ(world.Device(u"ROOT\\MEDIA\\0007").problem, CM_PROB_FAILED_INSTALL);
}

TEST(DeviceRemoval, AskedOfADeviceTakesWhatIsBelowItAwayUntilARestart) {
  World world(InstalledMachine());
  AddBelowRoot(world);
  EXPECT_EQ(QueryRemove().result, CR_SUCCESS);
  EXPECT_FALSE(world.Device(u"SWD\\OTHER\\0000").present);
  Reboot(world.machine);
  EXPECT_TRUE(world.Device(u"SWD\\OTHER\\0000").present);
}

TEST(DeviceRemoval, AsksOnlyWhatIsPresentBelowTheDevice) {
  World world(InstalledMachine());
  AddBelowRoot(world).temper.vetoes = 1;
  EXPECT_EQ(QueryRemove().result, CR_REMOVE_VETOED);
  world.Device(u"SWD\\OTHER\\0000").temper.vetoes = 1;
  world.Device(u"SWD\\OTHER\\0000").present = false;
  EXPECT_EQ(QueryRemove().result, CR_SUCCESS);
}

TEST(DeviceRestart, StopsTheDeviceAndStartsItAgain) {
  World world(InstalledMachine());
  const Restart restart = RestartRoot();
  EXPECT_TRUE(restart.restarted);
  EXPECT_EQ(restart.flags, 0u);
  EXPECT_FALSE(IsStarted(world.Device(kRootId)));
  EXPECT_EQ(CountEndpointsInView(world.machine), 0u);
  world.Wait(400);
  EXPECT_TRUE(IsStarted(world.Device(kRootId)));
  EXPECT_EQ(CountEndpointsInView(world.machine), 0u);
  world.Wait(1500);
  EXPECT_EQ(CountEndpointsInView(world.machine), 20u);
}

TEST(DeviceRestart, KeepsTheIdsOfTheEndpoints) {
  World world(InstalledMachine());
  const auto before = world.machine.devices;
  RestartRoot();
  world.Wait(10'000);
  for (const Device& device : before.devices)
    EXPECT_TRUE(world.Has(device.instanceId));
}

TEST(DeviceRemoval, ThatTakesTimeLetsTheDeviceStartNoMore) {
  World world(InstalledMachine());
  world.Device(kRootId).temper.removeDelay = 20'000;
  EXPECT_TRUE(Remove().removed);
  EXPECT_EQ(world.Device(kRootId).status & (DN_HAS_PROBLEM | DN_WILL_BE_REMOVED),
            DN_HAS_PROBLEM | DN_WILL_BE_REMOVED);
  EXPECT_EQ(world.Device(kRootId).problem, CM_PROB_WILL_BE_REMOVED);
  StartDevice(world.machine, kRootId);
  EXPECT_FALSE(IsStarted(world.Device(kRootId)));
}

TEST(DeviceRestart, NeedsItsParameterBlock) {
  World world(InstalledMachine());
  const HDEVINFO list = ListRoots(true);
  const SP_DEVINFO_DATA device = ElementOf(list, kRootId);
  EXPECT_FALSE(SetupDiCallClassInstaller(DIF_PROPERTYCHANGE, list, &device));
  EXPECT_EQ(GetLastError(), ERROR_NO_CLASSINSTALL_PARAMS);
}

TEST(DeviceRestart, CanFailOrAskForARestartInstead) {
  World world(InstalledMachine());
  world.Device(kRootId).temper.restartError = ERROR_GEN_FAILURE;
  EXPECT_EQ(RestartRoot().error, ERROR_GEN_FAILURE);
  world.Device(kRootId).temper.restartError = 0;
  world.Device(kRootId).temper.restartNeedsReboot = true;
  EXPECT_EQ(RestartRoot().flags, DI_NEEDRESTART);
  EXPECT_TRUE(IsStarted(world.Device(kRootId))) << "it runs on";
}

TEST(DeviceRestart, CanLeaveTheDeviceWithAProblem) {
  World world(InstalledMachine());
  world.Device(kRootId).temper.restartProblem = CM_PROB_FAILED_START;
  EXPECT_TRUE(RestartRoot().restarted);
  world.Wait(60'000);
  EXPECT_EQ(StateOf(NodeOf(kRootId)).problem, CM_PROB_FAILED_START);
}

TEST(DeviceRestart, OfADisabledDeviceLeavesItDisabled) {
  World world(DisabledMachine());
  EXPECT_TRUE(RestartRoot().restarted);
  world.Wait(60'000);
  EXPECT_EQ(StateOf(NodeOf(kRootId)).problem, CM_PROB_DISABLED);
}

TEST(DeviceStart, IsNotAskedOfADeviceThatRunsByEnablingIt) {
  World world(InstalledMachine());
  EnableDevice(world.machine, kRootId);
  EXPECT_TRUE(IsStarted(world.Device(kRootId)));
}

TEST(DeviceRestart, OfADisabledDeviceWorksOnceItIsEnabled) {
  World world(DisabledMachine());
  EnableDevice(world.machine, kRootId);
  world.Wait(5'000);
  EXPECT_TRUE(IsStarted(world.Device(kRootId)));
  EXPECT_EQ(CountEndpointsInView(world.machine), 20u);
}

TEST(DeviceRestart, KeepsAnOlderImageThatRefusesToUnload) {
  World world(OutdatedMachine());
  world.Device(kRootId).resident->refusesUnload = true;
  const DriverImage older = *world.Device(kRootId).resident;
  ASSERT_EQ(Update(kSampleInf), false);
  world.Wait(5'000);
  const Device& root = world.Device(kRootId);
  EXPECT_TRUE(IsStarted(root));
  EXPECT_EQ(root.resident, older);
  EXPECT_EQ(StringProperty(root, kDriverVersionKey), kSampleVersion) << "according to the metadata";
  EXPECT_EQ(root.pendingInf, root.publishedInf);
  Reboot(world.machine);
  EXPECT_EQ(world.Device(kRootId).resident, SoundImage(kSampleVersion));
  EXPECT_EQ(world.Device(kRootId).pendingInf, u"");
}

TEST(DeviceStart, CanEndInAProblemOfTheImage) {
  World world(CleanMachine());
  PackageRecipe recipe;
  recipe.image = SoundImage(recipe.version);
  recipe.image->startProblem = CM_PROB_FAILED_START;
  const std::u16string inf = WritePackage(world.machine.files, u"C:\\pkg\\broken", recipe);
  AddRoot(world.machine, kRootId);
  ASSERT_TRUE(Update(inf.c_str()));
  world.Wait(5'000);
  EXPECT_EQ(StateOf(NodeOf(kRootId)).problem, CM_PROB_FAILED_START);
  EXPECT_FALSE(world.Device(kRootId).resident.has_value());
  EXPECT_EQ(CountEndpointsInView(world.machine), 0u);
}

TEST(DeviceStart, FailsWhenThePackageWasForcedOut) {
  World world(InstalledMachine());
  const std::u16string package = world.Device(kRootId).publishedInf;
  ASSERT_EQ(UninstallPackage(world.machine, package, SUOI_FORCEDELETE), 0u);
  EXPECT_TRUE(IsStarted(world.Device(kRootId))) << "what runs goes on running";
  RestartRoot();
  world.Wait(5'000);
  EXPECT_EQ(StateOf(NodeOf(kRootId)).problem, CM_PROB_DRIVER_FAILED_LOAD);
}

}  // namespace vorn::tests

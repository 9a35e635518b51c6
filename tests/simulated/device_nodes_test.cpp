// The configuration manager: nodes, their status, children and ids.

#include "base/text.h"
#include "platform/simulated/config_manager_values.h"
#include "tests/simulated/device_calls.h"
#include "tests/support/sample.h"

namespace vorn::tests {

using namespace platform;
using namespace platform::simulated;

namespace {

std::vector<DEVINST> ChildrenOf(DEVINST node) {
  std::vector<DEVINST> children;
  DEVINST child = 0;
  for (CONFIGRET result = CM_Get_Child(&child, node); result == CR_SUCCESS;
       result = CM_Get_Sibling(&child, child)) {
    children.push_back(child);
  }
  return children;
}

std::u16string IdOf(DEVINST node) {
  char16_t id[256] = {};
  EXPECT_EQ(CM_Get_Device_IDW(node, id, 256), CR_SUCCESS);
  return id;
}

}  // namespace

TEST(DeviceNode, IsFoundInAnyCaseWhileTheDeviceIsPresent) {
  World world(DuplicatesMachine());
  EXPECT_NE(NodeOf(u"root\\media\\0000"), 0u);
  EXPECT_EQ(NodeOf(u"root\\media\\0000"), NodeOf(kRootId));
  DEVINST node = 77;
  EXPECT_EQ(CM_Locate_DevNodeW(&node, u"ROOT\\MEDIA\\0001", 0), CR_NO_SUCH_DEVNODE) << "absent";
  EXPECT_EQ(CM_Locate_DevNodeW(&node, u"ROOT\\MEDIA\\0009", 0), CR_NO_SUCH_DEVNODE) << "unknown";
  EXPECT_EQ(CM_Locate_DevNodeW(&node, u"ROOT-MEDIA", 0), CR_INVALID_DEVICE_ID);
  EXPECT_EQ(CM_Locate_DevNodeW(&node, u"", 0), CR_INVALID_DEVICE_ID);
  EXPECT_EQ(node, 77u) << "untouched on failure";
  EXPECT_EQ(CM_Locate_DevNodeW(nullptr, kRootId, 0), CR_INVALID_POINTER);
}

TEST(DeviceNode, ReportsWhetherItRuns) {
  World world(InstalledMachine());
  const NodeState running = StateOf(NodeOf(kRootId));
  EXPECT_EQ(running.result, CR_SUCCESS);
  EXPECT_NE(running.status & DN_STARTED, 0u);
  EXPECT_EQ(running.problem, 0u);
  DisableDevice(world.machine, kRootId);
  const NodeState disabled = StateOf(NodeOf(kRootId));
  EXPECT_EQ(disabled.status & DN_STARTED, 0u);
  EXPECT_NE(disabled.status & DN_HAS_PROBLEM, 0u);
  EXPECT_EQ(disabled.problem, CM_PROB_DISABLED);
}

TEST(DeviceNode, ReturnsTheConfiguredError) {
  World world(InstalledMachine());
  world.Device(kRootId).statusError = CR_FAILURE;
  const NodeState state = StateOf(NodeOf(kRootId));
  EXPECT_EQ(state.result, CR_FAILURE);
  EXPECT_EQ(state.status, 0u);
}

TEST(DeviceNode, DisappearsWithTheDevice) {
  World world(InstalledMachine());
  const DEVINST node = NodeOf(kRootId);
  RemoveDeviceNode(world.machine, kRootId);
  EXPECT_EQ(StateOf(node).result, CR_NO_SUCH_DEVNODE);
  DEVINST child = 0;
  EXPECT_EQ(CM_Get_Child(&child, node), CR_NO_SUCH_DEVNODE);
  std::uint32_t length = 0;
  EXPECT_EQ(CM_Get_Device_ID_Size(&length, node), CR_NO_SUCH_DEVNODE);
  EXPECT_EQ(CM_Query_And_Remove_SubTreeW(node, nullptr, nullptr, 0, 0), CR_NO_SUCH_DEVNODE);
}

TEST(DeviceNode, KeepsItsNumberForTheNextDeviceOfThatName) {
  World world(InstalledMachine());
  const DEVINST node = NodeOf(kRootId);
  RemoveDeviceNode(world.machine, kRootId);
  AddRoot(world.machine, kRootId);
  EXPECT_EQ(NodeOf(kRootId), node);
  EXPECT_EQ(StateOf(node).result, CR_SUCCESS);
}

TEST(DeviceNode, IsInvalidUnlessItWasHandedOut) {
  World world(InstalledMachine());
  EXPECT_EQ(StateOf(0).result, CR_INVALID_DEVNODE);
  EXPECT_EQ(StateOf(12345).result, CR_INVALID_DEVNODE);
}

TEST(DeviceNode, OfAnAbsentDeviceHasAnIdAndNoStatus) {
  World world(DuplicatesMachine());
  const HDEVINFO list = ListRoots(false);
  const SP_DEVINFO_DATA ghost = ElementOf(list, u"ROOT\\MEDIA\\0001");
  EXPECT_EQ(StateOf(ghost.DevInst).result, CR_NO_SUCH_DEVNODE);
  EXPECT_EQ(IdOf(ghost.DevInst), u"ROOT\\MEDIA\\0001");
}

TEST(DeviceNodeChildren, AreItsTwentyEndpointsInOrder) {
  World world(InstalledMachine());
  std::vector<std::u16string> expected;
  for (const Device& device : world.machine.devices.devices) {
    if (device.parent == kRootId) expected.push_back(device.instanceId);
  }
  std::vector<std::u16string> seen;
  for (const DEVINST child : ChildrenOf(NodeOf(kRootId)))
    seen.push_back(IdOf(child));
  EXPECT_EQ(seen, expected);
  EXPECT_EQ(seen.size(), 20u);
}

TEST(DeviceNodeChildren, AreSkippedWhenAbsent) {
  World world(InstalledMachine());
  const std::vector<DEVINST> before = ChildrenOf(NodeOf(kRootId));
  world.Device(IdOf(before[0])).present = false;
  world.Device(IdOf(before[5])).present = false;
  EXPECT_EQ(ChildrenOf(NodeOf(kRootId)).size(), 18u);
}

TEST(DeviceNodeChildren, EndWithNoSuchNode) {
  World world(DisabledMachine());
  DEVINST child = 77;
  EXPECT_EQ(CM_Get_Child(&child, NodeOf(kRootId)), CR_NO_SUCH_DEVNODE);
  EXPECT_EQ(child, 77u);
}

TEST(DeviceNodeId, IsMeasuredWithoutItsTerminator) {
  World world(InstalledMachine());
  const DEVINST node = NodeOf(kRootId);
  std::uint32_t length = 0;
  EXPECT_EQ(CM_Get_Device_ID_Size(&length, node), CR_SUCCESS);
  EXPECT_EQ(length, 15u);
  char16_t id[16] = {};
  EXPECT_EQ(CM_Get_Device_IDW(node, id, 16), CR_SUCCESS);
  EXPECT_EQ(std::u16string(id), kRootId);
}

TEST(DeviceNodeId, FillsASmallBufferAndReportsIt) {
  World world(InstalledMachine());
  char16_t id[16] = {};
  EXPECT_EQ(CM_Get_Device_IDW(NodeOf(kRootId), id, 4), CR_BUFFER_SMALL);
  EXPECT_EQ(std::u16string(id), u"ROOT");
  EXPECT_EQ(CM_Get_Device_IDW(NodeOf(kRootId), id, 15), CR_BUFFER_SMALL);
}

TEST(DeviceNodeClass, IsTheTextOfItsGuid) {
  World world(InstalledMachine());
  const DEVINST child = ChildrenOf(NodeOf(kRootId)).front();
  char16_t text[64] = {};
  std::uint32_t size = sizeof text;
  std::uint32_t type = 0;
  EXPECT_EQ(CM_Get_DevNode_Registry_PropertyW(child, CM_DRP_CLASSGUID, &type, text, &size),
            CR_SUCCESS);
  EXPECT_EQ(size, 78u);
  EXPECT_EQ(type, 1u);
  EXPECT_TRUE(EqualsIgnoringCase(text, u"{c166523c-fe0c-4a94-a586-f1a80cfbbf3e}"));
}

TEST(DeviceNodeClass, NeedsAWholeBuffer) {
  World world(InstalledMachine());
  char16_t text[64] = {};
  std::uint32_t size = 76;
  EXPECT_EQ(
      CM_Get_DevNode_Registry_PropertyW(NodeOf(kRootId), CM_DRP_CLASSGUID, nullptr, text, &size),
      CR_BUFFER_SMALL);
  EXPECT_EQ(size, 78u);
  EXPECT_EQ(text[0], u'\0');
}

TEST(DeviceNodeClass, MayBeMissingOrAnyText) {
  World world(InstalledMachine());
  char16_t text[64] = {};
  std::uint32_t size = sizeof text;
  world.Device(kRootId).classGuidText = u"{not a class}";
  EXPECT_EQ(
      CM_Get_DevNode_Registry_PropertyW(NodeOf(kRootId), CM_DRP_CLASSGUID, nullptr, text, &size),
      CR_SUCCESS);
  EXPECT_EQ(std::u16string(text), u"{not a class}");
  world.Device(kRootId).classGuidText.reset();
  world.Device(kRootId).classGuid = {};
  size = sizeof text;
  EXPECT_EQ(
      CM_Get_DevNode_Registry_PropertyW(NodeOf(kRootId), CM_DRP_CLASSGUID, nullptr, text, &size),
      CR_NO_SUCH_VALUE);
}

}  // namespace vorn::tests

#include "platform/config_manager.h"

#include "platform/simulated/config_manager_values.h"
#include "platform/simulated/device_list.h"
#include "platform/simulated/device_removal.h"
#include "platform/simulated/guid_text.h"
#include "platform/simulated/process.h"
#include "platform/simulated/registry_values.h"
#include "platform/simulated/returned_data.h"

#include <algorithm>

namespace vorn::platform {

namespace simulated {

namespace {

constexpr std::size_t kMaxDeviceIdLength = 200;  // MAX_DEVICE_ID_LEN

/// The result of looking up a node: the device, or why there is none.
struct NodeSearch {
  const Device* device = nullptr;
  CONFIGRET result = CR_INVALID_DEVNODE;
};

const DeviceTree& TheTree() {
  return Process::Current().TheMachine().devices;
}

/// The device of a node number, present or not. A number that was never handed out gives
/// CR_INVALID_DEVNODE; a device that is gone gives CR_NO_SUCH_DEVNODE.
NodeSearch FindInstalledNode(DEVINST node) {
  const std::u16string* name = Process::Current().nodes.NameOf(node);
  if (name == nullptr) return {};
  const Device* device = TheTree().Find(*name);
  return {device, device == nullptr ? CR_NO_SUCH_DEVNODE : CR_SUCCESS};
}

/// The same for calls that need the live node. Documented: an absent device has no live node.
NodeSearch FindLiveNode(DEVINST node) {
  const NodeSearch search = FindInstalledNode(node);
  if (search.device != nullptr && !search.device->present) return {nullptr, CR_NO_SUCH_DEVNODE};
  return search;
}

/// Whether a text has the form of an instance id, enumerator\device\instance.
bool IsInstanceId(std::u16string_view text) {
  return !text.empty() && text.size() < kMaxDeviceIdLength &&
         std::count(text.begin(), text.end(), u'\\') == 2;
}

/// The device itself or the first of those after it below its parent that is present.
const Device* FirstPresent(const Devices& devices, const Device* device) {
  while (device != nullptr && !device->present)
    device = devices.NextBelow(*device);
  return device;
}

CONFIGRET GiveNode(const Device* device, DEVINST* node) {
  if (device == nullptr) return CR_NO_SUCH_DEVNODE;
  *node = Process::Current().nodes.NumberOf(device->instanceId);
  return CR_SUCCESS;
}

std::optional<std::u16string> ClassGuidText(const Device& device) {
  if (device.classGuidText) return device.classGuidText;
  if (device.classGuid == GUID{}) return std::nullopt;
  return GuidText(device.classGuid);
}

void GiveName(std::u16string_view name, char16_t* buffer, std::uint32_t size) {
  if (buffer == nullptr || size == 0) return;
  const std::size_t length = std::min<std::size_t>(name.size(), size - 1);
  *std::copy_n(name.begin(), length, buffer) = u'\0';
}

}  // namespace

}  // namespace simulated

using namespace simulated;

CONFIGRET CM_Locate_DevNodeW(DEVINST* node, const char16_t* instanceId, std::uint32_t flags) {
  return SimulateCode<CONFIGRET>(
      "CM_Locate_DevNodeW", Arguments("pDeviceID", instanceId, "ulFlags", Hex{flags}),
      [&](const CallFaults&) {
        if (node == nullptr) return CR_INVALID_POINTER;
        if (instanceId == nullptr || !IsInstanceId(instanceId)) return CR_INVALID_DEVICE_ID;
        const Device* device = TheTree().Find(instanceId);
        return GiveNode(device != nullptr && device->present ? device : nullptr, node);
      });
}

CONFIGRET CM_Get_DevNode_Status(std::uint32_t* status, std::uint32_t* problem, DEVINST node) {
  return SimulateCode<CONFIGRET>(
      "CM_Get_DevNode_Status", Arguments("dnDevInst", NodeArgument{node}), [&](const CallFaults&) {
        if (status == nullptr || problem == nullptr) return CR_INVALID_POINTER;
        const NodeSearch search = FindLiveNode(node);
        if (search.device == nullptr) return search.result;
        if (search.device->statusError != 0) return search.device->statusError;
        *status = search.device->status;
        *problem = search.device->problem;
        return CR_SUCCESS;
      });
}

CONFIGRET CM_Get_Child(DEVINST* child, DEVINST node) {
  return SimulateCode<CONFIGRET>(
      "CM_Get_Child", Arguments("dnDevInst", NodeArgument{node}), [&](const CallFaults&) {
        if (child == nullptr) return CR_INVALID_POINTER;
        const NodeSearch search = FindLiveNode(node);
        if (search.device == nullptr) return search.result;
        const Devices& devices = TheTree().devices;
        return GiveNode(FirstPresent(devices, devices.FirstBelow(search.device->instanceId)),
                        child);
      });
}

CONFIGRET CM_Get_Sibling(DEVINST* sibling, DEVINST node) {
  return SimulateCode<CONFIGRET>(
      "CM_Get_Sibling", Arguments("dnDevInst", NodeArgument{node}), [&](const CallFaults&) {
        if (sibling == nullptr) return CR_INVALID_POINTER;
        const NodeSearch search = FindLiveNode(node);
        if (search.device == nullptr) return search.result;
        const Devices& devices = TheTree().devices;
        return GiveNode(FirstPresent(devices, devices.NextBelow(*search.device)), sibling);
      });
}

CONFIGRET CM_Get_Device_ID_Size(std::uint32_t* length, DEVINST node) {
  return SimulateCode<CONFIGRET>(
      "CM_Get_Device_ID_Size", Arguments("dnDevInst", NodeArgument{node}), [&](const CallFaults&) {
        if (length == nullptr) return CR_INVALID_POINTER;
        const NodeSearch search = FindInstalledNode(node);
        if (search.device == nullptr) return search.result;
        *length = static_cast<std::uint32_t>(search.device->instanceId.size());
        return CR_SUCCESS;
      });
}

CONFIGRET CM_Get_Device_IDW(DEVINST node, char16_t* instanceId, std::uint32_t size) {
  return SimulateCode<CONFIGRET>("CM_Get_Device_IDW",
                                 Arguments("dnDevInst", NodeArgument{node}, "BufferLen", size),
                                 [&](const CallFaults& faults) {
                                   if (instanceId == nullptr) return CR_INVALID_POINTER;
                                   const NodeSearch search = FindInstalledNode(node);
                                   if (search.device == nullptr) return search.result;
                                   std::u16string id = search.device->instanceId;
                                   SpoilLength(id, faults);
                                   // Documented: a buffer that is too small gets as much as fits,
                                   // without a terminator.
                                   const std::size_t fits = std::min<std::size_t>(id.size(), size);
                                   char16_t* end = std::copy_n(id.begin(), fits, instanceId);
                                   if (size <= id.size()) return CR_BUFFER_SMALL;
                                   *end = u'\0';
                                   return CR_SUCCESS;
                                 });
}

CONFIGRET CM_Get_DevNode_Registry_PropertyW(DEVINST node, std::uint32_t property,
                                            std::uint32_t* type, void* buffer,
                                            std::uint32_t* size) {
  return SimulateCode<CONFIGRET>("CM_Get_DevNode_Registry_PropertyW",
                                 Arguments("dnDevInst", NodeArgument{node}, "ulProperty", property,
                                           "ulLength", size == nullptr ? std::uint32_t{0} : *size),
                                 [&](const CallFaults& faults) {
                                   if (size == nullptr || (buffer == nullptr && *size != 0))
                                     return CR_INVALID_POINTER;
                                   const NodeSearch search = FindInstalledNode(node);
                                   if (search.device == nullptr) return search.result;
                                   // The class is the only registry property that the model keeps.
                                   if (property != CM_DRP_CLASSGUID) return CR_NO_SUCH_VALUE;
                                   const auto text = ClassGuidText(*search.device);
                                   if (!text) return CR_NO_SUCH_VALUE;
                                   Bytes data = ToTerminatedBytes(*text);
                                   SpoilLength(data, faults);
                                   if (type != nullptr) *type = REG_SZ;
                                   const std::uint32_t capacity = *size;
                                   *size = static_cast<std::uint32_t>(data.size());
                                   if (capacity < data.size()) return CR_BUFFER_SMALL;
                                   std::copy(data.begin(), data.end(),
                                             static_cast<std::uint8_t*>(buffer));
                                   return CR_SUCCESS;
                                 });
}

CONFIGRET CM_Query_And_Remove_SubTreeW(DEVINST node, std::uint32_t* vetoType, char16_t* vetoName,
                                       std::uint32_t nameSize, std::uint32_t flags) {
  return SimulateCode<CONFIGRET>(
      "CM_Query_And_Remove_SubTreeW",
      Arguments("dnAncestor", NodeArgument{node}, "ulNameLength", nameSize, "ulFlags", Hex{flags}),
      [&](const CallFaults&) {
        const NodeSearch search = FindLiveNode(node);
        if (search.device == nullptr) return search.result;
        Machine& machine = Process::Current().TheMachine();
        const QueryRemoval answer = QueryRemove(machine, search.device->instanceId);
        if (answer.result == CR_REMOVE_VETOED) {
          if (vetoType != nullptr) *vetoType = answer.vetoType;
          GiveName(answer.vetoName, vetoName, nameSize);
        }
        return answer.result;
      });
}

}  // namespace vorn::platform

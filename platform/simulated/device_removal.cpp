#include "platform/simulated/device_removal.h"

#include "platform/config_manager.h"
#include "platform/simulated/config_manager_values.h"
#include "platform/simulated/device_tree.h"
#include "platform/simulated/machine.h"

#include <algorithm>
#include <vector>

namespace vorn::platform::simulated {

namespace {

bool IsVetoed(const Machine& machine, const DeviceTemper& temper) {
  return temper.vetoes > 0 || machine.clock.tick < temper.vetoUntil;
}

/// The present devices at and below `instanceId`, lowest first. Documented: a query-removal asks a
/// device after everything below it.
void CollectSubtree(const DeviceTree& tree, std::u16string_view instanceId,
                    std::vector<std::u16string>& ids) {
  const Devices& devices = tree.devices;
  for (const Device* child = devices.FirstBelow(instanceId); child != nullptr;
       child = devices.NextBelow(*child)) {
    if (child->present) CollectSubtree(tree, child->instanceId, ids);
  }
  ids.emplace_back(instanceId);
}

QueryRemoval AskToLetGo(Machine& machine, Device& device) {
  DeviceTemper& temper = device.temper;
  if (temper.queryRemoveResult != 0 && temper.queryRemoveResult != CR_REMOVE_VETOED) {
    return {temper.queryRemoveResult, 0, {}};
  }
  if (temper.queryRemoveResult == 0 && !IsVetoed(machine, temper)) return {};
  if (temper.vetoes > 0) --temper.vetoes;
  return {CR_REMOVE_VETOED, temper.vetoType, temper.vetoName};
}

/// Ours: what was planned for a removed device is dropped, or it would hit the next device of that
/// name. Its endpoints' records still go idle: that is the endpoint builder's business.
void ForgetPlansOf(Machine& machine, std::u16string_view instanceId) {
  std::erase_if(machine.clock.events, [&](const Event& event) {
    const bool ofTheNode = event.kind == EventKind::StartDevice ||
                           event.kind == EventKind::RemoveDevice ||
                           event.kind == EventKind::AnnounceReplug;
    return ofTheNode && IsSameDevice(event.subject, instanceId);
  });
}

}  // namespace

void EraseSubtree(Machine& machine, const std::u16string& instanceId) {
  Devices& devices = machine.devices.devices;
  while (const Device* child = devices.FirstBelow(instanceId))
    EraseSubtree(machine, std::u16string(child->instanceId));
  ForgetPlansOf(machine, instanceId);
  devices.Erase(instanceId);
}

QueryRemoval QueryRemove(Machine& machine, std::u16string_view instanceId) {
  const std::u16string root(instanceId);
  std::vector<std::u16string> subtree;
  CollectSubtree(machine.devices, root, subtree);
  for (const std::u16string& id : subtree) {
    QueryRemoval answer = AskToLetGo(machine, *machine.devices.Find(id));
    if (answer.result != CR_SUCCESS) return answer;
  }
  StopDevice(machine, root);
  for (const std::u16string& id : subtree) {
    Device* device = machine.devices.Find(id);
    if (device == nullptr) continue;
    device->queryRemoved = true;
    if (IsSameDevice(id, root)) {
      // Documented (porting from SetupAPI to CfgMgr32): the node of a query-removed device stays,
      // stopped, until it is set up again or removed. Assumed: until then its problem is
      // CM_PROB_WILL_BE_REMOVED. Question (query-removed): which status and problem has the node
      // after CM_Query_And_Remove_SubTreeW, and does DIF_REMOVE then work?
      device->status |= DN_HAS_PROBLEM;
      device->problem = CM_PROB_WILL_BE_REMOVED;
    } else {
      device->present = false;
    }
  }
  return {};
}

void RemoveDevice(Machine& machine, std::u16string_view instanceId) {
  Device* device = machine.devices.Find(instanceId);
  if (device == nullptr) return;
  if (device->temper.removeKeepsNodeUntilRestart) {
    device->removalPending = true;
    device->status |= DN_WILL_BE_REMOVED;
    return;
  }
  const std::uint64_t delay = device->temper.removeDelay;
  if (delay == 0) {
    RemoveDeviceNode(machine, instanceId);
    return;
  }
  const std::u16string id(instanceId);
  StopDevice(machine, id);
  device = machine.devices.Find(id);
  device->status |= DN_HAS_PROBLEM | DN_WILL_BE_REMOVED;
  device->problem = CM_PROB_WILL_BE_REMOVED;
  Plan(machine, delay, EventKind::RemoveDevice, id);
}

void RemoveDeviceNode(Machine& machine, std::u16string_view instanceId) {
  // `instanceId` may be the node's own text, which is erased with it.
  const std::u16string id(instanceId);
  if (machine.devices.Find(id) == nullptr) return;
  StopDevice(machine, id);
  EraseSubtree(machine, id);
}

}  // namespace vorn::platform::simulated

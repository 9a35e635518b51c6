// The restart of a simulated machine.

#include "platform/config_manager.h"
#include "platform/simulated/device_removal.h"
#include "platform/simulated/machine.h"

#include <algorithm>
#include <vector>

namespace vorn::platform::simulated {

namespace {

/// Ours: a restart takes 45 s until the machine can be used again.
constexpr std::uint64_t kBootMs = 45'000;

bool WaitsToGo(const Machine& machine, const Device& device) {
  const auto& events = machine.clock.events;
  return device.removalPending ||
         std::any_of(events.begin(), events.end(), [&](const Event& event) {
           return event.kind == EventKind::RemoveDevice &&
                  IsSameDevice(event.subject, device.instanceId);
         });
}

template <class Wanted>
std::vector<std::u16string> DevicesThat(const Machine& machine, Wanted wanted) {
  std::vector<std::u16string> ids;
  for (const Device& device : machine.devices.devices) {
    if (wanted(device)) ids.push_back(device.instanceId);
  }
  return ids;
}

/// Devices whose driver the model stops and starts; the others keep running.
bool HasPlayedDriver(const Device& device) {
  return device.present && !device.foreign && (device.resident || !device.publishedInf.empty());
}

/// All plans are dropped except the registry writes that the endpoint builder still owes. Assumed:
/// the records of endpoints whose device went before a restart still change to "not present".
/// Question: which state has such a record after the restart?
void ForgetPlans(Machine& machine) {
  std::erase_if(machine.clock.events,
                [](const Event& event) { return event.kind != EventKind::IdleEndpointRecords; });
}

void PowerOff(Machine& machine) {
  const auto waitsToGo = [&](const Device& device) { return WaitsToGo(machine, device); };
  for (const std::u16string& id : DevicesThat(machine, waitsToGo))
    RemoveDeviceNode(machine, id);
  for (const std::u16string& id : DevicesThat(machine, HasPlayedDriver)) {
    Device& device = *machine.devices.Find(id);
    if (device.resident) device.resident->refusesUnload = false;
    if (device.problem == CM_PROB_DISABLED) {
      DisableDevice(machine, id);
    } else {
      StopDevice(machine, id);
    }
  }
  ForgetPlans(machine);
}

void PowerOn(Machine& machine) {
  for (Device& device : machine.devices.devices) {
    if (!device.queryRemoved) continue;
    device.queryRemoved = false;
    device.present = true;
    if (device.problem == CM_PROB_WILL_BE_REMOVED) device.problem = CM_PROB_FAILED_INSTALL;
  }
  for (const std::u16string& id : DevicesThat(machine, HasPlayedDriver)) {
    machine.devices.Find(id)->pendingInf.clear();
    StartDevice(machine, id);
  }
}

/// Documented: at a restart files stay, opens end, and names that only waited for that are deleted.
void CloseAllFiles(FileSystem& files) {
  while (!files.opens.empty())
    ReleaseHold(files, files.opens.begin()->first.number);
}

}  // namespace

void Reboot(Machine& machine) {
  CloseAllFiles(machine.files);
  PowerOff(machine);
  RunAutomaticServices(machine);
  PowerOn(machine);
  Advance(machine, kBootMs);
}

}  // namespace vorn::platform::simulated

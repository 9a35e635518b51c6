// How simulated devices start and stop.

#include "base/text.h"
#include "platform/config_manager.h"
#include "platform/simulated/calls.h"
#include "platform/simulated/config_manager_values.h"
#include "platform/simulated/device_io.h"
#include "platform/simulated/device_tree.h"
#include "platform/simulated/endpoint_builder.h"
#include "platform/simulated/machine.h"

#include <algorithm>

namespace vorn::platform::simulated {

namespace {

constexpr std::uint32_t kStoppedStatus = DN_ROOT_ENUMERATED | DN_NT_ENUMERATOR | DN_NT_DRIVER;
constexpr std::uint32_t kStartedStatus =
    kStoppedStatus | DN_DRIVER_LOADED | DN_STARTED | DN_DISABLEABLE;
constexpr char16_t kAudioReference[] = u"\\wave";

void FailStart(Device& device, std::uint32_t problem) {
  device.status = kStoppedStatus | DN_HAS_PROBLEM;
  device.problem = problem;
}

/// Assumed: a restart through the class installer, or a bind, sets a query-removed device up again.
/// Question (query-removed): does the device start when it is bound or restarted after
/// CM_Query_And_Remove_SubTreeW with CM_REMOVE_NO_RESTART?
bool MayStart(const Device& device) {
  const bool leaves = device.problem == CM_PROB_WILL_BE_REMOVED && !device.queryRemoved;
  return device.present && device.problem != CM_PROB_DISABLED && !leaves;
}

void CancelStart(Machine& machine, std::u16string_view instanceId) {
  std::erase_if(machine.clock.events, [&](const Event& event) {
    return event.kind == EventKind::StartDevice && IsSameDevice(event.subject, instanceId);
  });
}

/// \\?\root#media#0000#{class}. Observed: interface paths are in lower case.
std::u16string InterfacePath(const Device& device, const GUID& interfaceClass,
                             std::u16string_view reference) {
  std::u16string id = ToLowerAscii(device.instanceId);
  std::replace(id.begin(), id.end(), u'\\', u'#');
  std::u16string path = u"\\\\?\\" + id + u"#" + ToLowerAscii(ToUtf16(RenderGuid(interfaceClass)));
  path += reference;
  return path;
}

/// The driver registers an interface, or enables the device's existing ones of that class.
void EnableInterface(Device& device, const GUID& interfaceClass, std::u16string_view reference) {
  bool known = false;
  for (DeviceInterface& candidate : device.interfaces) {
    if (candidate.interfaceClass != interfaceClass) continue;
    candidate.enabled = true;
    known = true;
  }
  if (known) return;
  device.interfaces.push_back(
      {interfaceClass, InterfacePath(device, interfaceClass, reference), true, 0});
}

const PublishedPackage* SelectedPackage(const Machine& machine, const Device& device) {
  return machine.store.Find(device.publishedInf);
}

/// Loads the selected package's image unless one is in memory. False when the device cannot start;
/// its problem says why.
bool LoadImage(const Machine& machine, Device& device) {
  if (device.resident) return true;
  if (device.publishedInf.empty()) {
    FailStart(device, CM_PROB_FAILED_INSTALL);
    return false;
  }
  const PublishedPackage* package = SelectedPackage(machine, device);
  if (package == nullptr && IsPublishedName(device.publishedInf)) {
    // Assumed: a driver runs from the store, so it goes with its package, and loading it fails.
    // Question: which problem does a device report when its package was force-deleted and it is
    // restarted?
    FailStart(device, CM_PROB_DRIVER_FAILED_LOAD);
    return false;
  }
  device.pendingInf.clear();
  // Drivers that come with Windows, and those without an image, do not concern the model.
  if (package != nullptr && !package->image.empty()) device.resident = ParseImage(package->image);
  return true;
}

std::uint64_t StartDelay(const Machine& machine, const Device& device) {
  if (device.resident) return device.resident->startDelay;
  const PublishedPackage* package = SelectedPackage(machine, device);
  return package == nullptr || package->image.empty() ? 0 : ParseImage(package->image).startDelay;
}

void StartSoon(Machine& machine, const Device& device) {
  const std::uint64_t delay = StartDelay(machine, device);
  const std::u16string instanceId = device.instanceId;
  if (delay == 0) {
    StartDevice(machine, instanceId);
  } else {
    Plan(machine, delay, EventKind::StartDevice, instanceId);
  }
}

}  // namespace

void StartDevice(Machine& machine, std::u16string_view instanceId) {
  CancelStart(machine, instanceId);
  Device* device = machine.devices.Find(instanceId);
  if (device == nullptr || !MayStart(*device) || !LoadImage(machine, *device)) return;
  if (device->resident && device->resident->startProblem != 0) {
    // Documented: a driver whose start fails is unloaded again.
    const std::uint32_t problem = device->resident->startProblem;
    device->resident.reset();
    FailStart(*device, problem);
    return;
  }
  device->status = kStartedStatus;
  device->problem = 0;
  device->queryRemoved = false;
  if (!device->resident) return;
  if (device->resident->registersControlInterface) {
    EnableInterface(*device, kControlInterfaceClass, {});
  }
  if (device->resident->registersAudioInterface) {
    EnableInterface(*device, kAudioInterfaceClass, kAudioReference);
  }
  BuildEndpointsSoon(machine, instanceId);
}

void StopDevice(Machine& machine, std::u16string_view instanceId) {
  // The id may be the device's own text, which moves when the endpoints' nodes are erased.
  const std::u16string id(instanceId);
  CancelStart(machine, id);
  Device* device = machine.devices.Find(id);
  if (device == nullptr) return;
  for (DeviceInterface& candidate : device->interfaces)
    candidate.enabled = false;
  device->status = kStoppedStatus;
  device->problem = 0;
  if (device->resident) {
    EndControlSessions(*device);
    if (!device->resident->refusesUnload) device->resident.reset();
  }
  WithdrawEndpoints(machine, id);
}

void RestartDevice(Machine& machine, std::u16string_view instanceId) {
  const std::u16string id(instanceId);
  const Device* before = machine.devices.Find(id);
  if (before == nullptr || !MayStart(*before) || before->publishedInf.empty()) return;
  StopDevice(machine, id);
  Device* device = machine.devices.Find(id);
  const PublishedPackage* package = SelectedPackage(machine, *device);
  const bool olderImageStays =
      device->resident && package != nullptr && ParseImage(package->image) != *device->resident;
  if (olderImageStays) device->pendingInf = device->publishedInf;
  StartSoon(machine, *device);
}

// Documented: a device that an administrator disables stops with CM_PROB_DISABLED.
void DisableDevice(Machine& machine, std::u16string_view instanceId) {
  const std::u16string id(instanceId);
  StopDevice(machine, id);
  Device* device = machine.devices.Find(id);
  if (device != nullptr) FailStart(*device, CM_PROB_DISABLED);
}

void EnableDevice(Machine& machine, std::u16string_view instanceId) {
  Device* device = machine.devices.Find(instanceId);
  if (device == nullptr || device->problem != CM_PROB_DISABLED) return;
  device->status = kStoppedStatus;
  device->problem = 0;
  StartSoon(machine, *device);
}

}  // namespace vorn::platform::simulated

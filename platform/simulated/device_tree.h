#pragma once

// The simulated machine's device nodes, and what happens to them: they start and stop, are bound
// and removed.

#include "platform/simulated/devices.h"
#include "platform/types.h"

#include <string>
#include <string_view>
#include <utility>

namespace vorn::platform::simulated {

struct DeviceTree {
  Devices devices;  // in enumeration order

  /// Device names ignore case.
  Device* Find(std::u16string_view instanceId) { return devices.Find(instanceId); }
  const Device* Find(std::u16string_view instanceId) const { return devices.Find(instanceId); }

  /// Adds a device where its enumerator lists it.
  Device& Insert(Device device) { return devices.Insert(std::move(device)); }

  friend bool operator==(const DeviceTree&, const DeviceTree&) = default;
};

/// Whether the driver has started the device: DN_STARTED and no problem.
bool IsStarted(const Device& device);

/// Sets a string property.
void SetStringProperty(Device& device, const DEVPROPKEY& key, std::u16string_view text);

inline constexpr DEVPROPKEY kDriverVersionKey = {
    {0xa8b865dd, 0x2e3d, 0x4094, {0xad, 0x97, 0xe5, 0x93, 0xa7, 0x0c, 0x75, 0xd6}}, 3};
inline constexpr DEVPROPKEY kDriverInfPathKey = {
    {0xa8b865dd, 0x2e3d, 0x4094, {0xad, 0x97, 0xe5, 0x93, 0xa7, 0x0c, 0x75, 0xd6}}, 5};
inline constexpr DEVPROPKEY kServiceKey = {
    {0xa45c254e, 0xdf1c, 0x4efd, {0x80, 0x20, 0x67, 0xd1, 0x46, 0xa8, 0x50, 0xe0}}, 6};

struct Machine;

/// The string of a property; empty when it is missing or has another type.
std::u16string StringProperty(const Device& device, const DEVPROPKEY& key);

/// Adds and returns a present, unconfigured root with hardware id Root\VornAudio. The reference is
/// valid until another device is added.
Device& AddRoot(Machine& machine, std::u16string_view instanceId);

/// Starts a device. Its driver is loaded from the selected package unless an older image is still
/// in memory, and the device starts or gets the image's start problem. Interfaces are enabled and
/// the endpoint builder is notified. A device that is absent, disabled or being removed stays as it
/// is.
void StartDevice(Machine& machine, std::u16string_view instanceId);

/// Stops a device: its interfaces are disabled, its endpoints disappear, and its image leaves
/// memory unless it refuses to.
void StopDevice(Machine& machine, std::u16string_view instanceId);

/// Stops a device and erases its node, present or not, with everything below it and everything
/// planned for it; endpoint records stay in the registry.
void RemoveDeviceNode(Machine& machine, std::u16string_view instanceId);

/// Stops the device and starts it again after the image's start delay, with its selected package if
/// the older image unloads. A device that is absent, disabled, being removed or without a package
/// stays as it is.
void RestartDevice(Machine& machine, std::u16string_view instanceId);

/// What an administrator does in Device Manager: the device stops with CM_PROB_DISABLED.
void DisableDevice(Machine& machine, std::u16string_view instanceId);

/// The reverse: a disabled device may start again, and does.
void EnableDevice(Machine& machine, std::u16string_view instanceId);

/// Restarts the machine: pending selections take effect, images are loaded anew, device nodes
/// awaiting removal are gone, opens and leases end. The boot takes simulated time. The tick
/// continues instead of starting over, so that events and logs stay in order.
void Reboot(Machine& machine);

}  // namespace vorn::platform::simulated

#pragma once

// The simulated machine's device nodes: present and absent, their properties, interfaces, children,
// the driver that is bound and the image that is in memory.

#include "platform/simulated/driver_image.h"
#include "platform/types.h"

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::platform::simulated {

inline constexpr GUID kMediaClass = {
    0x4d36e96c, 0xe325, 0x11ce, {0xbf, 0xc1, 0x08, 0x00, 0x2b, 0xe1, 0x03, 0x18}};
inline constexpr GUID kAudioEndpointClass = {
    0xc166523c, 0xfe0c, 0x4a94, {0xa5, 0x86, 0xf1, 0xa8, 0x0c, 0xfb, 0xbf, 0x3e}};
inline constexpr GUID kControlInterfaceClass = {
    0xA3F2B8C1, 0x7D4E, 0x4F5A, {0x9B, 0x2C, 0x1E, 0x8D, 0x6F, 0x3A, 0x4B, 0x5C}};
inline constexpr GUID kAudioInterfaceClass = {
    0x6994AD04, 0x93EF, 0x11D0, {0xA3, 0xCC, 0x00, 0xA0, 0xC9, 0x22, 0x31, 0x96}};

struct DeviceInterface {
  GUID interfaceClass = {};
  std::u16string path;
  bool enabled = true;
  std::uint32_t openError = 0;  // not 0: opening it fails with this

  friend bool operator==(const DeviceInterface&, const DeviceInterface&) = default;
};

/// A property as it is stored; a string property has type 0x12 and UTF-16 data with terminator.
struct DeviceProperty {
  DEVPROPKEY key = {};
  std::uint32_t type = 0;
  Bytes data;

  friend bool operator==(const DeviceProperty&, const DeviceProperty&) = default;
};

/// How a device takes what is done to it; each is a fact that a machine may be given.
struct DeviceTemper {
  std::uint32_t vetoes = 0;     // query-removals that are still refused
  std::uint64_t vetoUntil = 0;  // and refused until this tick
  std::uint32_t vetoType = 6;   // PNP_VetoOutstandingOpen
  std::u16string vetoName = u"SWD\\MMDEVAPI\\audiodg.exe";
  std::uint32_t queryRemoveResult = 0;       // not 0: the CONFIGRET of every query-removal
  std::uint32_t removeError = 0;             // not 0: DIF_REMOVE fails with this
  bool removeNeedsRestart = false;           // DIF_REMOVE sets DI_NEEDREBOOT
  bool removeKeepsNodeUntilRestart = false;  // and the node stays until the restart
  std::uint64_t removeDelay = 0;             // milliseconds until the node is gone
  std::uint32_t restartError = 0;            // not 0: DIF_PROPERTYCHANGE fails with this
  bool restartNeedsReboot = false;           // DIF_PROPERTYCHANGE sets DI_NEEDRESTART
  std::uint32_t restartProblem = 0;          // not 0: the restart leaves this problem

  friend bool operator==(const DeviceTemper&, const DeviceTemper&) = default;
};

struct Device {
  std::u16string instanceId;  // ROOT\MEDIA\0000
  std::u16string enumerator;  // ROOT
  std::u16string parent;      // instance id, empty at the top
  bool present = true;
  std::uint32_t status = 0;   // DN_ flags
  std::uint32_t problem = 0;  // CM_PROB_
  GUID classGuid = {};
  std::optional<std::u16string> classGuidText;  // what the registry says instead
  std::u16string className;
  std::vector<std::u16string> hardwareIds;
  std::vector<DeviceProperty> properties;
  std::vector<DeviceInterface> interfaces;
  std::uint32_t installFlags = 0;       // DI_ flags of the last class installer call
  std::u16string service;               // of the bound driver, empty when none is bound
  std::u16string publishedInf;          // oem3.inf, empty when none is bound
  std::u16string pendingInf;            // selected, takes effect at the next restart
  std::optional<DriverImage> resident;  // the image in memory
  bool leaseHeld = false;
  std::set<CableFlow> hidden;     // endpoints that the driver was told to hide
  std::uint32_t statusError = 0;  // not 0: the CONFIGRET of every status query
  DeviceTemper temper;
};

struct DeviceTree {
  std::vector<Device> devices;  // in enumeration order

  /// Devices are named without regard to ASCII case.
  Device* Find(std::u16string_view instanceId);
  const Device* Find(std::u16string_view instanceId) const;
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

/// Adds a present, unconfigured root with hardware id Root\VornAudio; returns it. The reference is
/// good until another device is added.
Device& AddRoot(Machine& machine, std::u16string_view instanceId);

/// The driver of `device` is loaded from its bound package and the device starts (or gets the
/// image's start problem); interfaces are enabled and the endpoint builder is set to work.
void StartDevice(Machine& machine, std::u16string_view instanceId);

/// The device stops: its interfaces are disabled, its endpoints vanish from view, and its image
/// leaves memory unless that refuses.
void StopDevice(Machine& machine, std::u16string_view instanceId);

/// The device node and its children are gone; endpoint records stay in the registry.
void RemoveDeviceNode(Machine& machine, std::u16string_view instanceId);

/// Restarts the machine: selections that were pending take effect, images are loaded anew, device
/// nodes that were waiting to go are gone, opens and leases are over.
void Reboot(Machine& machine);

}  // namespace vorn::platform::simulated

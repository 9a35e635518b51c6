#pragma once

// Device: a device node of the simulated machine, present or absent: its properties, interfaces,
// the bound driver and the image in memory.

#include "platform/simulated/driver_image.h"
#include "platform/types.h"

#include <cstdint>
#include <optional>
#include <set>
#include <string>
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

/// A property as stored; a string property has type 0x12 and terminated UTF-16 data.
struct DeviceProperty {
  DEVPROPKEY key = {};
  std::uint32_t type = 0;
  Bytes data;

  friend bool operator==(const DeviceProperty&, const DeviceProperty&) = default;
};

// Status flags and problems that the model reports, besides those that the program checks.
inline constexpr std::uint32_t DN_ROOT_ENUMERATED = 0x00000001;
inline constexpr std::uint32_t DN_DRIVER_LOADED = 0x00000002;
inline constexpr std::uint32_t DN_DISABLEABLE = 0x00002000;
inline constexpr std::uint32_t DN_WILL_BE_REMOVED = 0x00040000;
inline constexpr std::uint32_t DN_NT_ENUMERATOR = 0x00800000;
inline constexpr std::uint32_t DN_NT_DRIVER = 0x01000000;
inline constexpr std::uint32_t CM_PROB_FAILED_START = 10;
inline constexpr std::uint32_t CM_PROB_NEED_RESTART = 14;
inline constexpr std::uint32_t CM_PROB_WILL_BE_REMOVED = 21;
inline constexpr std::uint32_t CM_PROB_FAILED_INSTALL = 28;
inline constexpr std::uint32_t CM_PROB_DRIVER_FAILED_LOAD = 39;

/// How a device reacts to what is done to it; each of these can be set for a machine.
struct DeviceTemper {
  std::uint32_t vetoes = 0;     // query-removals still to be refused
  std::uint64_t vetoUntil = 0;  // query-removals are refused until this tick
  std::uint32_t vetoType = 6;   // PNP_VetoOutstandingOpen
  std::u16string vetoName = u"SWD\\MMDEVAPI\\audiodg.exe";
  std::uint32_t queryRemoveResult = 0;       // not 0: the CONFIGRET of every query-removal
  std::uint32_t removeError = 0;             // not 0: DIF_REMOVE fails with this
  bool removeNeedsRestart = false;           // DIF_REMOVE sets DI_NEEDREBOOT
  bool removeKeepsNodeUntilRestart = false;  // and its node stays until the restart
  std::uint64_t removeDelay = 0;             // milliseconds until the node is gone
  std::uint32_t restartError = 0;            // not 0: DIF_PROPERTYCHANGE fails with this
  bool restartNeedsReboot = false;           // DIF_PROPERTYCHANGE only sets DI_NEEDRESTART
  std::uint32_t restartProblem = 0;          // not 0: the device has this problem after the restart

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
  std::optional<std::u16string> classGuidText;  // the text in the registry instead
  std::u16string className;
  std::vector<std::u16string> hardwareIds;
  std::optional<Bytes> hardwareIdData;  // the bytes in the registry instead
  std::vector<DeviceProperty> properties;
  std::vector<DeviceInterface> interfaces;
  std::uint32_t installFlags = 0;  // DI_ flags that its installation parameters start with
  std::u16string service;          // of the bound driver; empty when none is bound
  std::u16string publishedInf;     // the selected package, oem3.inf; empty when none is selected
  std::u16string pendingInf;       // a selected package that takes effect at the next restart
  std::optional<DriverImage> resident;  // the image in memory
  bool leaseHeld = false;
  std::uint32_t generation = 0;  // of the driver in memory; handles to earlier generations are dead
  std::set<CableFlow> hidden;    // endpoints that the driver was told to hide
  std::uint32_t statusError = 0;  // not 0: the CONFIGRET of every status query
  bool removalPending = false;    // removed, but its node stays until the restart
  bool queryRemoved = false;  // let go by a query-removal, until it is set up again or the restart
  bool foreign = false;       // not the product's: the program must not change it
  DeviceTemper temper;

  friend bool operator==(const Device&, const Device&) = default;
};

}  // namespace vorn::platform::simulated

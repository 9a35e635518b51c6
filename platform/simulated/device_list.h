#pragma once

// DeviceList: a device information list. It is a snapshot of which devices and interfaces there
// were when it was made; everything else about them is asked of the machine at each call, so that a
// device that went away meanwhile says so.

#include "platform/device_setup.h"
#include "platform/simulated/calls.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/process.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vorn::platform::simulated {

/// The parameter block of the next class installer call, as far as it says anything.
struct ClassInstallParameters {
  std::uint32_t function = 0;     // DIF_
  std::uint32_t stateChange = 0;  // DICS_, of DIF_PROPERTYCHANGE
};

struct DeviceElement {
  DEVINST node = 0;
  std::u16string instanceId;
  GUID classGuid = {};
  std::uint32_t installFlags = 0;                    // DI_
  std::optional<ClassInstallParameters> parameters;  // set and not yet replaced
  std::optional<Device> unregistered;  // made here, not yet in the tree; lost with the list
};

struct InterfaceElement {
  GUID interfaceClass = {};
  std::u16string path;
  std::size_t owner = 0;  // index of the device element
  bool active = false;    // when the list was made
};

class DeviceList : public Object {
 public:
  GUID classGuid = {};  // of an empty list; all zero when it is for all classes
  std::vector<DeviceElement> devices;
  std::vector<InterfaceElement> interfaces;

  /// The element that `data` stands for. Null, with the last error, when its size is wrong
  /// (ERROR_INVALID_USER_BUFFER) or it is not of this list (ERROR_INVALID_PARAMETER; assumed).
  DeviceElement* Find(const SP_DEVINFO_DATA* data);

  /// Adds an element for a device of the tree; returns its index.
  std::size_t Append(const Device& device);
};

/// The list of a handle; null, with ERROR_INVALID_HANDLE, when it is none.
std::shared_ptr<DeviceList> FindList(HDEVINFO list);

/// The record of an element's device: the tree's, or the one that is not registered yet. Null, with
/// ERROR_NO_SUCH_DEVINST, when it is gone.
Device* FindDeviceOf(DeviceElement& element);

/// Fills `data` for the element at `index`; its size must have been checked.
void Describe(const DeviceList& list, std::size_t index, SP_DEVINFO_DATA* data);

/// A device as an argument in the call log: its instance id.
struct DeviceArgument {
  const SP_DEVINFO_DATA* data;
};
template <>
std::string RenderArgument(const DeviceArgument& value);

/// A node number as an argument in the call log: its instance id, or the number when it has none.
struct NodeArgument {
  DEVINST node;
};
template <>
std::string RenderArgument(const NodeArgument& value);

}  // namespace vorn::platform::simulated

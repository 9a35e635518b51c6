#pragma once

// DeviceList: a device information list. It is a snapshot of the devices and interfaces that
// existed when it was made. Everything else about them is read from the machine at each call, so a
// device that has gone in the meantime is reported as gone.

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

/// The parameter block of the next class installer call, reduced to what the model uses.
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
  std::unique_ptr<Device> unregistered;  // created here and not yet in the tree; lost with the list
};

struct InterfaceElement {
  GUID interfaceClass = {};
  std::u16string path;
  std::size_t owner = 0;  // index of the device element
  bool active = false;    // at the time of the listing
};

class DeviceList : public Object {
 public:
  GUID classGuid = {};  // of an empty list; all zero for a list of all classes
  std::vector<DeviceElement> devices;
  std::vector<InterfaceElement> interfaces;

  /// The element that `data` identifies. Null, with the last error, when its size is wrong
  /// (ERROR_INVALID_USER_BUFFER) or it is not in this list (ERROR_INVALID_PARAMETER).
  DeviceElement* Find(const SP_DEVINFO_DATA* data);

  /// Adds an element for a device of the tree; returns its index.
  std::size_t Append(const Device& device);
};

/// The list of a handle; null, with ERROR_INVALID_HANDLE, when the handle is not a list.
std::shared_ptr<DeviceList> FindList(HDEVINFO list);

/// The record of an element's device: the tree's, or the one not yet registered. Null, with
/// ERROR_NO_SUCH_DEVINST, when it is gone.
const Device* FindDeviceOf(const DeviceElement& element);

/// The same record for writing.
Device* FindDeviceToChange(DeviceElement& element);

/// Fills `data` for the element at `index`; the caller has checked its size.
void Describe(const DeviceList& list, std::size_t index, SP_DEVINFO_DATA* data);

/// A device as a logged argument: its instance id.
struct DeviceArgument {
  const SP_DEVINFO_DATA* data;
};
template <>
std::string RenderArgument(const DeviceArgument& value);

/// A node number as a logged argument: its instance id, or the number when it has none.
struct NodeArgument {
  DEVINST node;
};
template <>
std::string RenderArgument(const NodeArgument& value);

}  // namespace vorn::platform::simulated

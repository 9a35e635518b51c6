#pragma once

// The way to the resident driver: the device interfaces of the one live root, and the open of
// exactly one of them. An interface of any other device node is never used.

#include "platform/owners.h"
#include "platform/types.h"

#include <string>
#include <string_view>
#include <vector>

namespace vorn {

/// Paths of the present interfaces of a class that belong to the root device of that instance id
/// (case ignored), in the platform's order (SetupDiEnumDeviceInterfaces). A platform failure ends
/// or shortens the list.
std::vector<std::u16string> ListRootInterfacePaths(const platform::GUID& interfaceClass,
                                                   std::u16string_view rootId);

/// An open channel, or why there is none.
struct ControlChannel {
  platform::DeviceHandle handle;
  std::u16string reason;  // empty when the handle is open
};

/// Opens the root's control interface for reading and writing; when that is missing or cannot be
/// opened, the first kernel-streaming audio interface of the root that can. Two live control
/// interfaces are an error.
ControlChannel OpenRootControlChannel(const std::u16string& rootId);

}  // namespace vorn

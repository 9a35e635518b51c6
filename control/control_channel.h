#pragma once

// Opens a channel to the resident driver through a device interface of the one live root, never
// through one of another device node.

#include "platform/owners.h"
#include "platform/types.h"

#include <string>
#include <string_view>
#include <vector>

namespace vorn {

/// Paths of the root's present interfaces of a class, in the platform's order
/// (SetupDiEnumDeviceInterfaces). Case is ignored in `rootId`. Failures shorten the list.
std::vector<std::u16string> ListRootInterfacePaths(const platform::GUID& interfaceClass,
                                                   std::u16string_view rootId);

struct ControlChannel {
  platform::DeviceHandle handle;
  std::u16string reason;  // why not open
};

/// Opens the root's control interface for reading and writing (CreateFileW). If it is missing or
/// does not open, opens the root's first kernel-streaming audio interface that does. More than one
/// control interface is an error.
ControlChannel OpenRootControlChannel(const std::u16string& rootId);

}  // namespace vorn

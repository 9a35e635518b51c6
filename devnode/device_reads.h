#pragma once

// What one element of a device information list says of itself: its hardware ids, its instance id,
// its string properties. Nothing here changes a device or prints.

#include "platform/device_setup.h"

#include <optional>
#include <string>

namespace vorn {

/// Whether any string of the device's hardware-id list is Root\VornAudio, without regard to case
/// (SetupDiGetDeviceRegistryPropertyW, SPDRP_HARDWAREID, 1024 bytes). A list that is empty, that
/// cannot be read or that is longer than the buffer does not match.
bool MatchesRootHardwareId(platform::HDEVINFO list, const platform::SP_DEVINFO_DATA& device);

/// The device's instance id (SetupDiGetDeviceInstanceIdW, size query, then read); nothing when it
/// cannot be read or is empty.
std::optional<std::u16string> ReadInstanceId(platform::HDEVINFO list,
                                             const platform::SP_DEVINFO_DATA& device);

/// The value of a string property (SetupDiGetDevicePropertyW, size query, then read); empty when
/// there is none, when its type is not DEVPROP_TYPE_STRING or when it has less than 2 bytes.
std::u16string ReadStringProperty(platform::HDEVINFO list, const platform::SP_DEVINFO_DATA& device,
                                  const platform::DEVPROPKEY& key);

}  // namespace vorn

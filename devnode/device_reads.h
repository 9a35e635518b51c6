#pragma once

// Reads the hardware ids, the instance id and the string properties of an element of a device
// information list. Prints nothing.

#include "platform/device_setup.h"

#include <optional>
#include <string>

namespace vorn {

/// Whether one of the device's hardware ids is Root\VornAudio, ignoring case
/// (SetupDiGetDeviceRegistryPropertyW). Ids that cannot be read or exceed 1024 bytes do not match.
bool MatchesRootHardwareId(platform::HDEVINFO list, const platform::SP_DEVINFO_DATA& device);

/// The device's instance id (SetupDiGetDeviceInstanceIdW: size query, then read). Nothing if it
/// cannot be read or is empty.
std::optional<std::u16string> ReadInstanceId(platform::HDEVINFO list,
                                             const platform::SP_DEVINFO_DATA& device);

/// The value of a string property (SetupDiGetDevicePropertyW: size query, then read). Empty if it
/// is missing, shorter than 2 bytes or not of type DEVPROP_TYPE_STRING.
std::u16string ReadStringProperty(platform::HDEVINFO list, const platform::SP_DEVINFO_DATA& device,
                                  const platform::DEVPROPKEY& key);

}  // namespace vorn

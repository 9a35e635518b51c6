#pragma once

// What one element of a device information list says of itself: its hardware ids, its instance id,
// its string properties. Nothing here changes a device or prints.

#include "platform/device_setup.h"

#include <string>

namespace vorn {

/// The hardware id of this program's device.
inline constexpr char16_t kRootHardwareId[] = u"Root\\VornAudio";

/// Whether any string of the device's hardware-id list is Root\VornAudio, without regard to case
/// (SetupDiGetDeviceRegistryPropertyW, SPDRP_HARDWAREID, 1024 bytes). A list that is empty, that
/// cannot be read or that is longer than the buffer does not match.
bool MatchesRootHardwareId(platform::HDEVINFO list, const platform::SP_DEVINFO_DATA& device);

/// The device's instance id (SetupDiGetDeviceInstanceIdW, size query, then read). On failure, also
/// for an empty id, `instanceId` is empty.
bool ReadInstanceId(platform::HDEVINFO list, const platform::SP_DEVINFO_DATA& device,
                    std::u16string& instanceId);

/// The value of a string property (SetupDiGetDevicePropertyW, size query, then read); empty when
/// there is none, when its type is not DEVPROP_TYPE_STRING or when it has less than 2 bytes.
std::u16string ReadStringProperty(platform::HDEVINFO list, const platform::SP_DEVINFO_DATA& device,
                                  const platform::DEVPROPKEY& key);

}  // namespace vorn

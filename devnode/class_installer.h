#pragma once

// The parameter blocks and the answer of the class installer calls that remove or restart a device.

#include "platform/device_setup.h"

#include <optional>

namespace vorn {

/// Prepares DIF_REMOVE of a device in every hardware profile (SetupDiSetClassInstallParamsW). False
/// with the last error of the call.
bool SetRemoveParameters(platform::HDEVINFO list, const platform::SP_DEVINFO_DATA& device);

/// Prepares DIF_PROPERTYCHANGE that restarts a device in place, in the current hardware profile
/// (SetupDiSetClassInstallParamsW). False with the last error of the call.
bool SetRestartParameters(platform::HDEVINFO list, const platform::SP_DEVINFO_DATA& device);

/// Whether the last class installer call on the device asks for a restart of the machine
/// (SetupDiGetDeviceInstallParamsW: DI_NEEDRESTART or DI_NEEDREBOOT). Nothing, with the last error
/// of the call, when it cannot be told.
std::optional<bool> ReadRestartNeeded(platform::HDEVINFO list,
                                      const platform::SP_DEVINFO_DATA& device);

}  // namespace vorn

#pragma once

// Parameters and results of the class installer calls that remove or restart a device. On failure
// the last error is that of the call.

#include "platform/device_setup.h"

#include <optional>

namespace vorn {

/// Prepares DIF_REMOVE in every hardware profile (SetupDiSetClassInstallParamsW).
bool SetRemoveParameters(platform::HDEVINFO list, const platform::SP_DEVINFO_DATA& device);

/// Prepares DIF_PROPERTYCHANGE to restart a device in the current hardware profile
/// (SetupDiSetClassInstallParamsW).
bool SetRestartParameters(platform::HDEVINFO list, const platform::SP_DEVINFO_DATA& device);

/// Whether the last class installer call requires a machine restart: DI_NEEDRESTART or
/// DI_NEEDREBOOT (SetupDiGetDeviceInstallParamsW). Nothing on failure.
std::optional<bool> ReadRestartNeeded(platform::HDEVINFO list,
                                      const platform::SP_DEVINFO_DATA& device);

}  // namespace vorn

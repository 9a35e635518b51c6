#pragma once

#include <string>

namespace supplement {

/// Restarts the device ROOT\\MEDIA\\0000 with the image of a published package. Wine cannot
/// exchange the image of a device that exists, so the device is removed, its driver unloaded, and a
/// device of the same id is registered and bound again, all by Wine's own functions.
void RestartDeviceWith(const std::wstring& published);

}  // namespace supplement

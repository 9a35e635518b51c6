#pragma once

#include <string>

namespace supplement {

/// Whether the driver starts the device within a few seconds. On a busy machine Wine loses the
/// start of a driver now and then, and the device never runs; Windows does not.
bool DriverStarts();

/// Restarts the device ROOT\\MEDIA\\0000 with the image of a published package. Wine cannot
/// exchange the image of a device that exists, so the device is removed, its driver unloaded, and a
/// device of the same id is registered and bound again, all by Wine's own functions. A start that
/// Wine loses is tried again.
void RestartDeviceWith(const std::wstring& published);

}  // namespace supplement

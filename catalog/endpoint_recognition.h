#pragma once

// Pure checks that recognise the program's endpoints in the catalog by the driver's cable property
// and by the device that the first connector leads to.

#include "platform/audio_endpoints.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace vorn {

/// The cable index in a value of kCableIndexKey: VT_UI4 or a non-negative VT_I4, possibly out of
/// range. Nothing for any other value: the endpoint is not the program's.
std::optional<std::uint32_t> CableIndexOf(const platform::PROPVARIANT& value);

/// Whether the kernel-streaming filter `connectedDeviceId` belongs to the device `rootInstanceId`:
/// it contains the instance id, with '#' for its separators and ignoring case, followed by a
/// separator or nothing, so that ROOT\MEDIA\0000 does not match ROOT\MEDIA\00001.
bool IsConnectedToRoot(std::u16string_view connectedDeviceId, std::u16string_view rootInstanceId);

}  // namespace vorn

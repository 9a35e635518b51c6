#pragma once

// How an endpoint of the catalog is recognised as the program's own: by the driver's cable property
// and by the device that its first connector leads to. Pure judgements of what was read.

#include "platform/audio_endpoints.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace vorn {

/// The cable index in a value of kCableIndexKey: VT_UI4, or VT_I4 that is not negative. Nothing for
/// any other value; the endpoint is then not the program's. The index may be out of range.
std::optional<std::uint32_t> CableIndexOf(const platform::PROPVARIANT& value);

/// Whether `connectedDeviceId`, the kernel-streaming filter that an endpoint's connector leads to,
/// names the device `rootInstanceId`: the instance id, with '#' for its separators, stands in it
/// without regard to case and ends there at a separator or at the end, so that ROOT\MEDIA\0000 is
/// not found in the device id of ROOT\MEDIA\00001.
bool IsConnectedToRoot(std::u16string_view connectedDeviceId, std::u16string_view rootInstanceId);

}  // namespace vorn

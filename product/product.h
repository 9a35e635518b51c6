#pragma once

// The names under which Windows, the driver package and the driver know the program's one device.
// Each is defined here and nowhere else.

#include "platform/audio_endpoints.h"
#include "platform/types.h"

namespace vorn {

inline constexpr char16_t kRootHardwareId[] = u"Root\\VornAudio";

/// The hardware id as a multi-string: with its own terminator and the list's.
inline constexpr char16_t kRootHardwareIds[] = u"Root\\VornAudio\0";
static_assert(sizeof kRootHardwareIds == 32);

/// The only service that the product's package may install.
inline constexpr char16_t kDriverServiceName[] = u"VornAudio";

/// The device's setup class: name, GUID, and the GUID as text.
inline constexpr char16_t kSetupClassName[] = u"MEDIA";
inline constexpr platform::GUID kSetupClass = {
    0x4d36e96c, 0xe325, 0x11ce, {0xbf, 0xc1, 0x08, 0x00, 0x2b, 0xe1, 0x03, 0x18}};
inline constexpr char16_t kSetupClassText[] = u"{4d36e96c-e325-11ce-bfc1-08002be10318}";

/// The driver's own endpoint property that holds the cable index: its key, and the name of the
/// registry value that stores it in an endpoint's record.
inline constexpr platform::PROPERTYKEY kCableIndexKey = {
    {0x4B7A2E8F, 0x3C5D, 0x4E91, {0x8A, 0x67, 0x2F, 0x9B, 0x1E, 0x3D, 0x5C, 0x7A}}, 2};
inline constexpr char16_t kCableIndexValueName[] = u"{4b7a2e8f-3c5d-4e91-8a67-2f9b1e3d5c7a},2";

}  // namespace vorn

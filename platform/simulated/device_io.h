#pragma once

// The control channel of a simulated driver: opening its interfaces, and what its control requests
// do. The image in memory determines the replies.

#include "platform/types.h"

#include <cstdint>

namespace vorn::platform::simulated {

struct Device;

// Control codes of the driver.
inline constexpr std::uint32_t kAcquireLease = 0x226000;
inline constexpr std::uint32_t kReleaseLease = 0x22A004;
inline constexpr std::uint32_t kGetStatus = 0x226010;
inline constexpr std::uint32_t kSetCableVisibility = 0x22A01C;
inline constexpr std::uint32_t kQueryEndpointPool = 0x226020;

/// Unloads the driver of `device`: the lease ends, hidden endpoints are visible again, and open
/// handles to the driver fail with ERROR_NO_SUCH_DEVICE.
void EndControlSessions(Device& device);

}  // namespace vorn::platform::simulated

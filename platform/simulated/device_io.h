#pragma once

// The control channel of a simulated driver: opening its interfaces and what its control requests
// do. The requests themselves are answered from the image in memory.

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

/// The driver of `device` leaves memory: the lease is over, no endpoint is hidden any more, and
/// handles that are open to it answer nothing but ERROR_NO_SUCH_DEVICE.
void EndControlSessions(Device& device);

}  // namespace vorn::platform::simulated

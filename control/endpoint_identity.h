#pragma once

// The fixed pool of audio endpoints: every cable has a render and a capture flow, and the pair
// (cable index, flow) is an endpoint's identity in the driver, in the catalog and in the journal.

#include <cstdint>

namespace vorn {

/// Cables of the device; cable indexes are 0 to kCableCount - 1.
inline constexpr std::uint32_t kCableCount = 10;

/// Endpoints of the device: both flows of every cable.
inline constexpr std::uint32_t kEndpointCount = 2 * kCableCount;

}  // namespace vorn

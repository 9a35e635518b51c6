#pragma once

// The fixed pool of audio endpoints: every cable has a render and a capture flow, and the pair
// (cable index, flow) is an endpoint's identity in the driver, in the catalog and in the journal.

#include <array>
#include <cstdint>

namespace vorn {

/// Cables of the device; cable indexes are 0 to kCableCount - 1.
inline constexpr std::uint32_t kCableCount = 10;

/// Endpoints of the device: both flows of every cable.
inline constexpr std::uint32_t kEndpointCount = 2 * kCableCount;

/// One endpoint of the pool.
struct EndpointIdentity {
  std::uint32_t cableIndex = 0;
  bool capture = false;

  friend bool operator==(const EndpointIdentity&, const EndpointIdentity&) = default;
};

/// Every identity: the render cables, then the capture cables.
constexpr std::array<EndpointIdentity, kEndpointCount> AllEndpointIdentities() {
  std::array<EndpointIdentity, kEndpointCount> identities;
  for (std::uint32_t i = 0; i < kEndpointCount; ++i) {
    identities[i] = {i % kCableCount, i >= kCableCount};
  }
  return identities;
}

/// "render" or "capture".
constexpr const char16_t* FlowName(bool capture) {
  return capture ? u"capture" : u"render";
}

}  // namespace vorn

#pragma once

// The device's fixed pool of audio endpoints: each cable has a render and a capture endpoint. The
// pair (cable index, flow) identifies an endpoint in the driver, the catalog and the journal.

#include <array>
#include <cstdint>

namespace vorn {

inline constexpr std::uint32_t kCableCount = 10;
inline constexpr std::uint32_t kEndpointCount = 2 * kCableCount;

struct EndpointIdentity {
  std::uint32_t cableIndex = 0;  // 0 to kCableCount - 1
  bool capture = false;

  friend bool operator==(const EndpointIdentity&, const EndpointIdentity&) = default;
};

/// All identities, the render endpoints first.
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

#pragma once

// The pool of endpoints that the resident driver exposes: asking for it, and judging whether it
// holds each of the 20 identities exactly once.

#include "base/check_result.h"
#include "control/control_protocol.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vorn {

struct EndpointPoolEntry {
  std::uint32_t cableIndex = 0;
  bool capture = false;
  std::u16string subdeviceName;

  friend bool operator==(const EndpointPoolEntry&, const EndpointPoolEntry&) = default;
};

/// Asks the driver of that root for its pool and judges the answer.
CheckResult QueryEndpointPool(const std::u16string& rootId);

/// The entries of a reply of which `bytes` came back; what the driver did not write is zero. Not ok
/// for a malformed count or a name without terminator.
CheckResult ReadEndpointPoolReply(const EndpointPoolReply& reply, std::uint32_t bytes,
                                  std::vector<EndpointPoolEntry>& entries);

/// Whether a pool is complete and sound.
CheckResult ValidateEndpointPool(const std::vector<EndpointPoolEntry>& entries);

}  // namespace vorn

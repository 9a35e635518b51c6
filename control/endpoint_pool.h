#pragma once

// The endpoint pool of the resident driver: the query, and the check that it holds each of the 20
// identities exactly once.

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

/// Queries the pool from the root's driver and checks it.
CheckResult QueryEndpointPool(const std::u16string& rootId);

/// Parses a reply of `bytes` bytes into `entries`; the rest of `reply` is zero. Fails on a
/// malformed count or an unterminated name.
CheckResult ReadEndpointPoolReply(const EndpointPoolReply& reply, std::uint32_t bytes,
                                  std::vector<EndpointPoolEntry>& entries);

/// Whether the entries are well formed and cover each identity exactly once.
CheckResult ValidateEndpointPool(const std::vector<EndpointPoolEntry>& entries);

}  // namespace vorn

#pragma once

// The bytes of a driver image's replies to queries, little-endian, as they appear in the output
// buffer.

#include "platform/simulated/driver_image.h"

namespace vorn::platform::simulated {

/// The reply to the endpoint-pool query: the count, then an entry of 140 bytes for each pool entry,
/// cut at `poolBytes`.
Bytes PoolReply(const DriverImage& image);

/// The reply to GET_STATUS, `statusBytes` long.
Bytes StatusReply(const DriverImage& image);

/// The reply to acquiring the lease, `leaseBytes` long.
Bytes LeaseReply(const DriverImage& image);

}  // namespace vorn::platform::simulated

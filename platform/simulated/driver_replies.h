#pragma once

// The bytes that a driver image replies to its queries, little-endian, as they stand in the output
// buffer.

#include "platform/simulated/driver_image.h"

namespace vorn::platform::simulated {

/// Reply to the endpoint-pool query: the count, then one entry of 140 bytes for each pool entry, as
/// far as `poolBytes` reaches.
Bytes PoolReply(const DriverImage& image);

/// Reply to GET_STATUS, `statusBytes` long.
Bytes StatusReply(const DriverImage& image);

/// Reply to the acquisition of the lease, `leaseBytes` long.
Bytes LeaseReply(const DriverImage& image);

}  // namespace vorn::platform::simulated

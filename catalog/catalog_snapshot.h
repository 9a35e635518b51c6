#pragma once

// CatalogSnapshot: what the audio endpoint catalog (MMDevice) shows of the endpoints that belong to
// the live root, at one moment.
//
// Every platform failure ends in the snapshot's reason. What cannot be judged (no property store,
// no cable property, no topology) is simply not the program's and is skipped; a failure to list, or
// to read a device already recognised as the program's, makes the snapshot incomplete, and it goes
// on recording what it can. How many endpoints must exist is for the callers to judge.

#include "catalog/catalog_endpoint.h"

#include <string>
#include <string_view>
#include <vector>

namespace vorn {

struct CatalogSnapshot {
  bool ok = false;                          // complete, consistent and, when asked, as PnP reports
  std::vector<CatalogEndpoint> endpoints;   // in catalog order: render, then capture
  std::vector<std::u16string> endpointIds;  // of every endpoint recorded, in the same order
  std::vector<std::u16string> activeEndpointIds;  // of the active ones
  std::vector<std::u16string> activeInstanceIds;  // of the active ones; only when PnP was compared
  std::u16string reason;                          // empty when ok
};

/// What Plug and Play shows that a snapshot is held against.
enum class PnpComparison { None, Children };

/// Lists the active and disabled endpoints of both flows (IMMDeviceEnumerator::EnumAudioEndpoints),
/// records those with the driver's cable property whose first connector leads to the device
/// `rootInstanceId` (IDeviceTopology), and judges their consistency. Where it is compared with the
/// children, the active ones must also be exactly `presentChildren`, the instance ids of the root's
/// started AudioEndpoint children; a snapshot without active endpoints passes that comparison.
///
/// Joins the multithreaded COM apartment for its duration; an apartment that the thread has joined
/// in another mode is used as it is.
CatalogSnapshot TakeCatalogSnapshot(std::u16string_view rootInstanceId,
                                    const std::vector<std::u16string>& presentChildren,
                                    PnpComparison comparison);

}  // namespace vorn

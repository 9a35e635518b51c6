#pragma once

// CatalogSnapshot: the live root's endpoints in the audio endpoint catalog (MMDevice).
//
// A device without a property store, cable property or topology is not the program's and is
// skipped. A failure to list devices, or to read one of the program's, makes the snapshot
// incomplete, but the rest is still recorded. Callers check the number of endpoints.

#include "catalog/catalog_endpoint.h"

#include <string>
#include <string_view>
#include <vector>

namespace vorn {

struct CatalogSnapshot {
  bool ok = false;                          // complete, consistent and, if compared, equal to PnP
  std::vector<CatalogEndpoint> endpoints;   // in catalog order: render, then capture
  std::vector<std::u16string> endpointIds;  // of all endpoints, in the same order
  std::vector<std::u16string> activeEndpointIds;  // of the active ones
  std::vector<std::u16string> activeInstanceIds;  // of the active ones, if compared with PnP
  std::u16string reason;                          // why not ok
};

/// Whether a snapshot is compared with the AudioEndpoint children in Plug and Play.
enum class PnpComparison { None, Children };

/// Lists the active and disabled endpoints of both flows (IMMDeviceEnumerator::EnumAudioEndpoints),
/// records those with the driver's cable property whose first connector leads to the device
/// `rootInstanceId` (IDeviceTopology), and checks their consistency. With PnpComparison::Children
/// the active ones must equal `presentChildren`, the instance ids of the root's started
/// AudioEndpoint children, unless there are no active ones.
///
/// Joins the multithreaded COM apartment for the call, unless the thread is in another one.
CatalogSnapshot TakeCatalogSnapshot(std::u16string_view rootInstanceId,
                                    const std::vector<std::u16string>& presentChildren,
                                    PnpComparison comparison);

}  // namespace vorn

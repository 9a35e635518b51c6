#pragma once

// Pure checks of sets of endpoints and instance ids, ignoring the case of ASCII letters in ids.

#include "base/check_result.h"
#include "catalog/catalog_endpoint.h"

#include <string>
#include <vector>

namespace vorn {

/// Whether the endpoints, active and disabled, are consistent: at most kEndpointCount, each with a
/// cable index below kCableCount and an endpoint id, and no identity or endpoint id twice.
CheckResult CheckCatalogEndpoints(const std::vector<CatalogEndpoint>& endpoints);

/// Whether the root device existed before the bind, so that there is a baseline of endpoints.
enum class RootOrigin { Existing, Fresh };

/// Whether `live` holds exactly the instance ids of `baseline`. Empty and repeated ids fail in
/// either list. An empty `live` passes: endpoints not yet published prove no change. A fresh root
/// has no baseline: `live` may hold up to kEndpointCount ids and `baseline` is ignored.
CheckResult CompareInstanceSets(const std::vector<std::u16string>& baseline,
                                const std::vector<std::u16string>& live, RootOrigin origin);

/// Fills `output` with the instance ids of the AudioEndpoint children expected present after a
/// change: those of the active catalog endpoints and the present `children` that are not in the
/// catalog, but not those of disabled endpoints; upper-cased, in ordinal order, each once. On
/// failure `output` is unchanged.
CheckResult ComputeExpectedPresent(const std::vector<CatalogEndpoint>& catalog,
                                   const std::vector<std::u16string>& children,
                                   std::vector<std::u16string>* output);

}  // namespace vorn

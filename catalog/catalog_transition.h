#pragma once

// Whether a driver change left the user's endpoints as they were: every identity still there, ids
// all kept or all re-minted, nothing activated that the user had disabled. Pure judgements.

#include "base/check_result.h"
#include "catalog/catalog_endpoint.h"
#include "catalog/endpoint_sets.h"

#include <vector>

namespace vorn {

/// Whether the endpoints are consistent (CheckCatalogEndpoints) and exactly kEndpointCount.
CheckResult CheckCompleteCatalog(const std::vector<CatalogEndpoint>& endpoints);

/// Whether the bind may have brought another package than the one that was bound.
enum class PackageChange { None, Possible };

/// Whether the catalog may go from `baseline` (before the bind) to `current`, which must be
/// complete. A fresh root has no baseline to honour. Where the package did not change, the bind
/// applied the one that was bound already, so that every endpoint id must survive; after a real
/// update all may survive or none. The baseline may be smaller than a complete catalog.
///
/// A change after which no endpoint that was active is active passes: only a partial loss fails.
CheckResult CheckCatalogTransition(const std::vector<CatalogEndpoint>& baseline,
                                   const std::vector<CatalogEndpoint>& current, RootOrigin origin,
                                   PackageChange change);

}  // namespace vorn

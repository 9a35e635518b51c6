#pragma once

// Pure checks that a driver change preserved the user's endpoints: every identity still exists, ids
// are all kept or all new, and nothing that the user disabled became active.

#include "base/check_result.h"
#include "catalog/catalog_endpoint.h"
#include "catalog/endpoint_sets.h"

#include <vector>

namespace vorn {

/// Whether the endpoints are consistent (CheckCatalogEndpoints) and exactly kEndpointCount.
CheckResult CheckCompleteCatalog(const std::vector<CatalogEndpoint>& endpoints);

/// Whether the bind may have changed the bound package.
enum class PackageChange { None, Possible };

/// Checks the change of the catalog from `baseline`, before the bind, to `current`, which must be
/// complete. A fresh root has no baseline. If the package did not change, every endpoint id must
/// survive, else all or none. The active endpoints must stay active, except that all may be
/// inactive for now. The baseline may be incomplete.
CheckResult CheckCatalogTransition(const std::vector<CatalogEndpoint>& baseline,
                                   const std::vector<CatalogEndpoint>& current, RootOrigin origin,
                                   PackageChange change);

}  // namespace vorn

#include "verify/observations.h"

#include "catalog/endpoint_sets.h"
#include "control/endpoint_pool.h"
#include "control/resident_status.h"
#include "package/published_package.h"

namespace vorn {

void Observe(const ActivationState& state, PackageChange change, Observations& seen) {
  seen.root = DiscoverLiveRoot();
  if (!seen.root.ok) return;
  const LiveRoot& root = seen.root;

  seen.package = AuthenticatePublishedPackage(state.target, root);
  seen.kernel = QueryEndpointPool(root.instanceId);
  seen.resident = QueryResidentStatus(root.instanceId, state.target.version);
  seen.catalog =
      TakeCatalogSnapshot(root.instanceId, root.endpointChildren, PnpComparison::Children);
  if (seen.catalog.ok) {
    seen.mapping =
        CheckCatalogTransition(state.catalog, seen.catalog.endpoints, state.Origin(), change);
  }
  seen.present = CompareInstanceSets(state.present, root.endpointChildren, state.Origin());
}

bool AreProven(const Observations& seen) {
  return seen.root.ok && seen.package.ok && seen.kernel.ok && seen.resident.ok && seen.catalog.ok &&
         seen.mapping.ok && seen.present.ok;
}

}  // namespace vorn

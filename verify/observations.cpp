#include "verify/observations.h"

#include "catalog/catalog_transition.h"
#include "catalog/endpoint_sets.h"
#include "control/endpoint_pool.h"
#include "control/resident_status.h"
#include "package/driver_identity.h"
#include "package/published_package.h"

namespace vorn {

void Observe(const ActivationState& state, Observations& seen) {
  seen.root = DiscoverLiveRoot();
  if (!seen.root.ok) return;
  const LiveRoot& root = seen.root;
  const DriverIdentity target = {state.version, state.date, state.service, state.infSha256};

  seen.package = AuthenticatePublishedPackage(target, root);
  seen.kernel = QueryEndpointPool(root.instanceId);
  seen.resident = QueryResidentStatus(root.instanceId, state.version);
  seen.catalog = TakeCatalogSnapshot(root.instanceId, root.endpointChildren, true);
  if (seen.catalog.ok) {
    seen.mapping = CheckCatalogTransition(state.catalog, seen.catalog.endpoints, state.fresh,
                                          state.unchangedPackage);
  }
  seen.present = CompareInstanceSets(state.present, root.endpointChildren, state.fresh);
}

bool AreProven(const Observations& seen) {
  return seen.root.ok && seen.package.ok && seen.kernel.ok && seen.resident.ok && seen.catalog.ok &&
         seen.mapping.ok && seen.present.ok;
}

}  // namespace vorn

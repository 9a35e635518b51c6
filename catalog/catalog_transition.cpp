#include "catalog/catalog_transition.h"

#include "base/text.h"
#include "product/endpoint_identity.h"

#include <algorithm>
#include <cstddef>

namespace vorn {

namespace {

const CatalogEndpoint* FindIdentity(const std::vector<CatalogEndpoint>& endpoints,
                                    const CatalogEndpoint& wanted) {
  const auto found =
      std::find_if(endpoints.begin(), endpoints.end(), [&wanted](const CatalogEndpoint& endpoint) {
        return endpoint.cableIndex == wanted.cableIndex && endpoint.capture == wanted.capture;
      });
  return found == endpoints.end() ? nullptr : &*found;
}

struct Survivors {
  std::size_t sameIds = 0;
  std::size_t baselineActive = 0;
  std::size_t bothActive = 0;
};

CheckResult CountSurvivors(const std::vector<CatalogEndpoint>& baseline,
                           const std::vector<CatalogEndpoint>& current, Survivors& survivors) {
  for (const CatalogEndpoint& before : baseline) {
    const CatalogEndpoint* after = FindIdentity(current, before);
    if (after == nullptr) {
      return CheckResult::Failed(u"driver update dropped an MMDevice cable identity");
    }
    if (EqualsIgnoringCase(before.endpointId, after->endpointId)) ++survivors.sameIds;
    if (after->active && !before.active) {
      return CheckResult::Failed(u"driver update activated an endpoint the user had not claimed");
    }
    if (before.active) ++survivors.baselineActive;
    if (after->active) ++survivors.bothActive;
  }
  return CheckResult::Passed();
}

}  // namespace

CheckResult CheckCompleteCatalog(const std::vector<CatalogEndpoint>& endpoints) {
  CheckResult consistent = CheckCatalogEndpoints(endpoints);
  if (!consistent.ok) return consistent;
  if (endpoints.size() != kEndpointCount) {
    return CheckResult::Failed(u"MMDevice catalog has the wrong VORN endpoint count");
  }
  return CheckResult::Passed();
}

CheckResult CheckCatalogTransition(const std::vector<CatalogEndpoint>& baseline,
                                   const std::vector<CatalogEndpoint>& current, RootOrigin origin,
                                   PackageChange change) {
  CheckResult complete = CheckCompleteCatalog(current);
  if (!complete.ok || origin == RootOrigin::Fresh) return complete;
  if (!CheckCatalogEndpoints(baseline).ok) {
    return CheckResult::Failed(u"pre-bind MMDevice catalog baseline is malformed or ambiguous");
  }
  Survivors survivors;
  CheckResult counted = CountSurvivors(baseline, current, survivors);
  if (!counted.ok) return counted;

  const bool allIdsKept = survivors.sameIds == baseline.size();
  if (change == PackageChange::None && !allIdsKept) {
    return CheckResult::Failed(u"unchanged driver package re-minted MMDevice cable identities");
  }
  if (survivors.sameIds != 0 && !allIdsKept) {
    return CheckResult::Failed(u"driver update remapped only some MMDevice cable identities");
  }
  // If all are inactive, they are still settling; if some are, it is a change.
  if (survivors.bothActive != 0 && survivors.bothActive != survivors.baselineActive) {
    return CheckResult::Failed(u"driver update changed an MMDevice cable visibility state");
  }
  return CheckResult::Passed();
}

}  // namespace vorn

#include "catalog/endpoint_sets.h"

#include "base/text.h"
#include "product/endpoint_identity.h"

#include <set>
#include <string_view>
#include <utility>

namespace vorn {

namespace {

/// Upper-cased ids, ordinal order.
using IdSet = std::set<std::u16string>;

enum class Which { All, Active };

IdSet InstanceIdsOf(const std::vector<CatalogEndpoint>& catalog, Which which) {
  IdSet ids;
  for (const CatalogEndpoint& endpoint : catalog) {
    if (which == Which::Active && !endpoint.active) continue;
    ids.insert(ToUpperAscii(InstanceIdOfEndpoint(endpoint.endpointId)));
  }
  return ids;
}

struct SetFaults {
  std::u16string_view emptyId;
  std::u16string_view duplicate;
};

CheckResult BuildSet(const std::vector<std::u16string>& ids, const SetFaults& faults, IdSet& set) {
  for (const std::u16string& id : ids) {
    if (id.empty()) return CheckResult::Failed(std::u16string(faults.emptyId));
    if (!set.insert(ToUpperAscii(id)).second) {
      return CheckResult::Failed(std::u16string(faults.duplicate));
    }
  }
  return CheckResult::Passed();
}

}  // namespace

CheckResult CheckCatalogEndpoints(const std::vector<CatalogEndpoint>& endpoints) {
  if (endpoints.size() > kEndpointCount) {
    return CheckResult::Failed(u"MMDevice catalog has too many VORN endpoints");
  }
  std::set<std::pair<std::uint32_t, bool>> identities;
  IdSet ids;
  for (const CatalogEndpoint& endpoint : endpoints) {
    if (endpoint.cableIndex >= kCableCount || endpoint.endpointId.empty()) {
      return CheckResult::Failed(u"MMDevice catalog contains a malformed VORN endpoint");
    }
    if (!identities.emplace(endpoint.cableIndex, endpoint.capture).second) {
      return CheckResult::Failed(u"MMDevice catalog duplicates a cable/flow identity");
    }
    if (!ids.insert(ToUpperAscii(endpoint.endpointId)).second) {
      return CheckResult::Failed(u"MMDevice catalog duplicates an endpoint id");
    }
  }
  return CheckResult::Passed();
}

CheckResult CompareInstanceSets(const std::vector<std::u16string>& baseline,
                                const std::vector<std::u16string>& live, RootOrigin origin) {
  IdSet liveSet;
  CheckResult built = BuildSet(live,
                               {u"live endpoint has an empty instance id",
                                u"live endpoint enumeration contains a duplicate"},
                               liveSet);
  if (!built.ok) return built;
  if (origin == RootOrigin::Fresh) {
    if (liveSet.size() <= kEndpointCount) return CheckResult::Passed();
    return CheckResult::Failed(u"fresh devnode published too many live AudioEndpoint children");
  }
  IdSet baselineSet;
  built = BuildSet(
      baseline,
      {u"endpoint baseline has an empty instance id", u"endpoint baseline contains a duplicate"},
      baselineSet);
  if (!built.ok) return built;
  // Children that are all absent for now do not show which will return.
  if (liveSet.empty() || liveSet == baselineSet) return CheckResult::Passed();
  return CheckResult::Failed(u"driver update changed the exact active endpoint set");
}

CheckResult ComputeExpectedPresent(const std::vector<CatalogEndpoint>& catalog,
                                   const std::vector<std::u16string>& children,
                                   std::vector<std::u16string>* output) {
  if (output == nullptr) return CheckResult::Failed(u"expected-present output is null");
  CheckResult judged = CheckCatalogEndpoints(catalog);
  if (!judged.ok) return judged;
  judged = CompareInstanceSets(children, children, RootOrigin::Existing);
  if (!judged.ok) return judged;

  const IdSet known = InstanceIdsOf(catalog, Which::All);
  IdSet expected = InstanceIdsOf(catalog, Which::Active);
  for (const std::u16string& child : children) {
    std::u16string key = ToUpperAscii(child);
    if (!known.contains(key)) expected.insert(std::move(key));
  }
  output->assign(expected.begin(), expected.end());
  return CheckResult::Passed();
}

}  // namespace vorn

#include "catalog/endpoint_sets.h"

#include "base/text.h"
#include "product/endpoint_identity.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace vorn {

namespace {

/// Ids that are equal apart from the case of ASCII letters are the same id.
using IdSet = std::vector<std::u16string_view>;  // sorted, each id once

bool IsIdBefore(std::u16string_view left, std::u16string_view right) {
  return CompareIgnoringCase(left, right) < 0;
}

/// Sorts the ids; false if one is there twice.
bool SortDistinct(IdSet& ids) {
  // The platform lists children in order.
  if (!std::is_sorted(ids.begin(), ids.end(), IsIdBefore)) {
    std::sort(ids.begin(), ids.end(), IsIdBefore);
  }
  return std::adjacent_find(ids.begin(), ids.end(), EqualsIgnoringCase) == ids.end();
}

struct SetFaults {
  std::u16string_view emptyId;
  std::u16string_view duplicate;
};

/// The fault that comes first in the list counts.
CheckResult BuildSet(const std::vector<std::u16string>& ids, const SetFaults& faults, IdSet& set) {
  const auto empty =
      std::find_if(ids.begin(), ids.end(), [](const std::u16string& id) { return id.empty(); });
  set.assign(ids.begin(), empty);
  if (!SortDistinct(set)) return CheckResult::Failed(std::u16string(faults.duplicate));
  if (empty != ids.end()) return CheckResult::Failed(std::u16string(faults.emptyId));
  return CheckResult::Passed();
}

/// The upper-cased instance id of an endpoint.
std::u16string InstanceKey(const CatalogEndpoint& endpoint) {
  return ToUpperAscii(InstanceIdOfEndpoint(endpoint.endpointId));
}

}  // namespace

CheckResult CheckCatalogEndpoints(const std::vector<CatalogEndpoint>& endpoints) {
  if (endpoints.size() > kEndpointCount) {
    return CheckResult::Failed(u"MMDevice catalog has too many VORN endpoints");
  }
  std::array<std::array<bool, 2>, kCableCount> seen = {};
  IdSet ids;
  std::u16string_view fault;
  for (const CatalogEndpoint& endpoint : endpoints) {
    if (endpoint.cableIndex >= kCableCount || endpoint.endpointId.empty()) {
      fault = u"MMDevice catalog contains a malformed VORN endpoint";
    } else if (std::exchange(seen[endpoint.cableIndex][endpoint.capture ? 1 : 0], true)) {
      fault = u"MMDevice catalog duplicates a cable/flow identity";
    }
    if (!fault.empty()) break;
    ids.push_back(endpoint.endpointId);
  }
  // An id that is there twice comes before the fault that ended the walk.
  if (!SortDistinct(ids)) fault = u"MMDevice catalog duplicates an endpoint id";
  return fault.empty() ? CheckResult::Passed() : CheckResult::Failed(std::u16string(fault));
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
  const bool same = std::equal(liveSet.begin(), liveSet.end(), baselineSet.begin(),
                               baselineSet.end(), EqualsIgnoringCase);
  if (liveSet.empty() || same) return CheckResult::Passed();
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

  std::vector<std::u16string> known;
  std::vector<std::u16string> expected;
  for (const CatalogEndpoint& endpoint : catalog) {
    known.push_back(InstanceKey(endpoint));
    if (endpoint.active) expected.push_back(known.back());
  }
  for (const std::u16string& child : children) {
    std::u16string key = ToUpperAscii(child);
    const auto isChild = [&key](const std::u16string& id) { return AreSameUnits(id, key); };
    if (std::none_of(known.begin(), known.end(), isChild)) expected.push_back(std::move(key));
  }
  // The checks have left no id that is there twice.
  SortByUnits(expected);
  *output = std::move(expected);
  return CheckResult::Passed();
}

}  // namespace vorn

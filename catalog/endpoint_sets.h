#pragma once

// Pure judgements over sets of endpoint identities: whether a list of catalog endpoints is
// consistent, whether two sets of instance ids are the same, and which instance ids should be
// present once a change is complete. Ids are compared without regard to the case of ASCII letters.

#include "base/check_result.h"
#include "catalog/catalog_endpoint.h"

#include <string>
#include <vector>

namespace vorn {

/// Whether the endpoints are consistent: at most kEndpointCount of them, each with a cable index
/// below kCableCount and an endpoint id, no identity and no endpoint id twice. Active and disabled
/// endpoints count alike. Fewer than kEndpointCount is no failure here.
CheckResult CheckCatalogEndpoints(const std::vector<CatalogEndpoint>& endpoints);

/// Whether the root device existed before the bind, so that its user's endpoints are a baseline.
enum class RootOrigin { Existing, Fresh };

/// Whether `live` holds exactly the instance ids of `baseline`. Empty and repeated ids fail in
/// either list. An empty `live` passes whatever the baseline holds: nothing is published yet, which
/// is no proof of a change. A fresh root has no baseline to honour: `live` may then hold up to
/// kEndpointCount ids and `baseline` is not looked at.
CheckResult CompareInstanceSets(const std::vector<std::u16string>& baseline,
                                const std::vector<std::u16string>& live, RootOrigin origin);

/// Fills `output` with the instance ids that should exist as present AudioEndpoint children once a
/// change is complete: those of the active catalog endpoints, and the present children that the
/// catalog does not know at all; upper-cased, in ordinal order, each once. A child that the catalog
/// knows as a disabled endpoint only is not expected. On failure `output` is untouched.
CheckResult ComputeExpectedPresent(const std::vector<CatalogEndpoint>& catalog,
                                   const std::vector<std::u16string>& children,
                                   std::vector<std::u16string>* output);

}  // namespace vorn

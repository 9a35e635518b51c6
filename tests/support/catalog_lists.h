#pragma once

// Lists of catalog endpoints: whole catalogs and variants of them in one line.

#include "catalog/catalog_endpoint.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vorn::tests {

/// The id of an endpoint: `prefix`, the flow's letter and the cable, as "{a}R3".
std::u16string EndpointIdFor(const std::u16string& prefix, std::uint32_t cable, bool capture);

/// `count` consistent endpoints, render cables 0 to 9 first, then capture; all active.
std::vector<CatalogEndpoint> ConsistentEndpoints(std::size_t count,
                                                 const std::u16string& prefix = u"{a}");

/// All 20 endpoints, active.
std::vector<CatalogEndpoint> CompleteCatalog(const std::u16string& prefix = u"{a}");

/// The endpoint of that identity; the list must hold it.
CatalogEndpoint& EndpointAt(std::vector<CatalogEndpoint>& endpoints, std::uint32_t cable,
                            bool capture);

}  // namespace vorn::tests

#include "tests/support/catalog_lists.h"

#include "base/format.h"
#include "product/endpoint_identity.h"

#include <algorithm>

namespace vorn::tests {

std::u16string EndpointIdFor(const std::u16string& prefix, std::uint32_t cable, bool capture) {
  return Format(u"%ls%ls%u", prefix, capture ? u"C" : u"R", cable);
}

std::vector<CatalogEndpoint> ConsistentEndpoints(std::size_t count, const std::u16string& prefix) {
  std::vector<CatalogEndpoint> endpoints;
  for (const bool capture : {false, true}) {
    for (std::uint32_t cable = 0; cable < kCableCount && endpoints.size() < count; ++cable) {
      endpoints.push_back({cable, capture, true, EndpointIdFor(prefix, cable, capture)});
    }
  }
  return endpoints;
}

std::vector<CatalogEndpoint> CompleteCatalog(const std::u16string& prefix) {
  return ConsistentEndpoints(kEndpointCount, prefix);
}

CatalogEndpoint& EndpointAt(std::vector<CatalogEndpoint>& endpoints, std::uint32_t cable,
                            bool capture) {
  return *std::find_if(endpoints.begin(), endpoints.end(), [&](const CatalogEndpoint& endpoint) {
    return endpoint.cableIndex == cable && endpoint.capture == capture;
  });
}

}  // namespace vorn::tests

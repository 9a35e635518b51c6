#pragma once

// CatalogEndpoint: one of the program's endpoints in the audio endpoint catalog. (cable index,
// flow) identifies it; the endpoint id is the catalog's own key.

#include <cstdint>
#include <string>
#include <string_view>

namespace vorn {

struct CatalogEndpoint {
  std::uint32_t cableIndex = 0;  // from the driver's property, so possibly out of range
  bool capture = false;          // else render
  bool active = false;           // DEVICE_STATE_ACTIVE, else disabled by the user
  std::u16string endpointId;     // as the catalog returns it

  friend bool operator==(const CatalogEndpoint&, const CatalogEndpoint&) = default;
};

/// The Plug and Play instance id of a catalog endpoint.
inline std::u16string InstanceIdOfEndpoint(std::u16string_view endpointId) {
  return u"SWD\\MMDEVAPI\\" + std::u16string(endpointId);
}

}  // namespace vorn

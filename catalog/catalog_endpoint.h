#pragma once

// CatalogEndpoint: one of the program's endpoints as the audio endpoint catalog shows it. It is
// identified by (cable index, flow); its endpoint id is the catalog's own key for it.

#include <cstdint>
#include <string>
#include <string_view>

namespace vorn {

struct CatalogEndpoint {
  std::uint32_t cableIndex = 0;  // what the driver's cable property says, so possibly out of range
  bool capture = false;          // listed under the capture flow, else under render
  bool active = false;           // DEVICE_STATE_ACTIVE, else disabled by the user
  std::u16string endpointId;     // exactly as the catalog returns it

  friend bool operator==(const CatalogEndpoint&, const CatalogEndpoint&) = default;
};

/// The Plug and Play instance id of a catalog endpoint: "SWD\MMDEVAPI\" and its endpoint id.
inline std::u16string InstanceIdOfEndpoint(std::u16string_view endpointId) {
  return u"SWD\\MMDEVAPI\\" + std::u16string(endpointId);
}

}  // namespace vorn

#pragma once

// The simulated machine's audio endpoints: the catalog that users see, and the builder that fills
// it from what the driver exposes.

#include "platform/simulated/driver_image.h"

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::platform::simulated {

struct Machine;

struct CableProperty {
  std::uint16_t type = 19;  // VT_UI4
  std::uint32_t value = 0;

  friend bool operator==(const CableProperty&, const CableProperty&) = default;
};

/// One endpoint of the catalog. Each `...Error` that is not 0 is the HRESULT that the matching call
/// gives for it.
struct AudioEndpoint {
  std::u16string id;  // {0.0.0.00000000}.{guid}
  bool capture = false;
  std::uint32_t state = 1;             // DEVICE_STATE_
  std::optional<CableProperty> cable;  // the driver's own property
  std::u16string connectedTo;          // device id of the filter of connector 0
  std::u16string root;                 // instance id of the device that it belongs to
  std::int32_t propertyStoreError = 0;
  std::int32_t propertyError = 0;
  std::int32_t topologyError = 0;
  std::int32_t connectorError = 0;
  std::int32_t connectedError = 0;
  std::int32_t idError = 0;
  bool nullId = false;
  std::int32_t stateError = 0;

  friend bool operator==(const AudioEndpoint&, const AudioEndpoint&) = default;
};

/// What the endpoint builder remembers of a cable, so that its endpoint keeps its id and the user's
/// choice across updates.
struct RememberedEndpoint {
  std::u16string id;
  bool disabledByUser = false;

  friend bool operator==(const RememberedEndpoint&, const RememberedEndpoint&) = default;
};

struct AudioCatalog {
  std::vector<AudioEndpoint> endpoints;                // in catalog order
  std::map<CableFlow, RememberedEndpoint> remembered;  // of the VORN device
  std::uint64_t buildDelay = 1500;     // milliseconds from the started driver to its endpoints
  std::uint32_t remintNext = 0;        // so many cables get new ids at the next building
  std::set<CableFlow> neverPublished;  // missing whatever the driver exposes
  std::set<CableFlow> doubled;         // published twice
  std::set<CableFlow> activated;       // published active although the user had disabled them
  bool childLags = false;              // endpoints appear in the catalog but not as PnP children
  std::uint32_t nextGuid = 1;          // of the next endpoint id
  std::int32_t coInitializeResult = 0;
  std::int32_t createError = 0;
  std::int32_t enumError = 0;  // of EnumAudioEndpoints
};

/// Publishes the endpoints of a started device as its image exposes them: catalog entries, PnP
/// children and registry records. Does nothing when the audio services do not run.
void PublishEndpoints(Machine& machine, std::u16string_view rootInstanceId);

/// Takes the endpoints of a device out of view; records stay.
void WithdrawEndpoints(Machine& machine, std::u16string_view rootInstanceId);

}  // namespace vorn::platform::simulated

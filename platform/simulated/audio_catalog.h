#pragma once

// The simulated machine's audio endpoints, as the catalog stores them and COM shows them. The
// endpoint builder fills the catalog.

#include "platform/audio_endpoints.h"
#include "platform/simulated/copy_on_write.h"
#include "platform/simulated/driver_image.h"

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::platform::simulated {

struct CableProperty {
  std::uint16_t type = 19;  // VT_UI4; VT_LPWSTR returns the value as a text
  std::uint32_t value = 0;

  friend bool operator==(const CableProperty&, const CableProperty&) = default;
};

/// One endpoint of the catalog. A nonzero `...Error` is the HRESULT that the matching call returns
/// for it.
struct AudioEndpoint {
  std::u16string id;  // {0.0.0.00000000}.{guid}
  bool capture = false;
  std::uint32_t state = 1;             // DEVICE_STATE_
  std::optional<CableProperty> cable;  // the driver's own property
  std::u16string connectedTo;          // device id of the filter of connector 0
  std::u16string root;                 // instance id of the device that owns it
  std::optional<CableFlow> builtFor;  // what the builder made it for; the cable property may differ
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
/// choice across updates. It lasts as long as the endpoint's record in the registry.
struct RememberedEndpoint {
  std::u16string id;
  bool disabledByUser = false;

  friend bool operator==(const RememberedEndpoint&, const RememberedEndpoint&) = default;
};

struct AudioCatalog {
  SharedList<AudioEndpoint> endpoints;                                           // in catalog order
  std::map<std::u16string, std::map<CableFlow, RememberedEndpoint>> remembered;  // by device

  // How the endpoint builder behaves; each of these can be set for a machine.
  std::uint64_t buildDelay = 1500;     // milliseconds from the driver's start to its endpoints
  std::set<CableFlow> late;            // published later than the others
  std::uint64_t lateDelay = 5000;      // by this many milliseconds
  std::uint32_t remintNext = 0;        // this many cables get new ids when endpoints are next built
  std::set<CableFlow> neverPublished;  // missing, whatever the driver exposes
  std::set<CableFlow> doubled;         // published twice
  std::map<CableFlow, CableProperty> properties;  // where it is not the cable's number
  std::set<CableFlow> activated;   // published as active although the user had disabled them
  std::uint64_t childDelay = 0;    // milliseconds from an endpoint to its PnP child
  bool childLags = false;          // endpoints appear in the catalog but never as PnP children
  std::uint64_t recordDelay = 0;   // milliseconds until the records of withdrawn endpoints say so
  bool recordsStayActive = false;  // the records of withdrawn endpoints never say so
  std::uint32_t nextGuid = 1;      // of the next endpoint id
  bool redirected =
      false;  // the session's sound goes to another machine, which hides these endpoints

  // How COM answers; each nonzero value is the HRESULT of that call.
  std::int32_t coInitializeResult = 0;  // RPC_E_CHANGED_MODE: the thread is in another apartment
  std::int32_t createError = 0;
  std::int32_t enumError = 0;  // of EnumAudioEndpoints
  std::int32_t countError = 0;
  std::int32_t itemError = 0;

  friend bool operator==(const AudioCatalog&, const AudioCatalog&) = default;
};

/// A new COM object of the current process: the audio endpoint enumerator. Null, with the reason in
/// `*result`, when the catalog is not available.
IMMDeviceEnumerator* CreateDeviceEnumerator(HRESULT* result);

}  // namespace vorn::platform::simulated

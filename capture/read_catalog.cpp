#include "capture/readers.h"
#include "platform/audio_endpoints.h"
#include "platform/owners.h"
#include "product/product.h"

namespace vorn::capture {

namespace {

using platform::EDataFlow;
using platform::HRESULT;

constexpr std::uint32_t kMostEndpoints = 4096;
constexpr std::uint32_t kListedStates =
    platform::DEVICE_STATE_ACTIVE | platform::DEVICE_STATE_DISABLED;

/// An object was given but the call failed all the same, or it succeeded and gave none.
constexpr HRESULT kNoObject = static_cast<HRESULT>(0x80004003);  // E_POINTER

/// The result of a call that gives an object: a failure also where it gave none.
template <class Owner>
HRESULT ResultOf(HRESULT result, const Owner& object) {
  return result >= 0 && !object ? kNoObject : result;
}

class Apartment {
 public:
  Apartment() : result_(platform::CoInitializeEx(platform::COINIT_MULTITHREADED)) {}
  ~Apartment() {
    if (result_ >= 0) platform::CoUninitialize();
  }
  Apartment(const Apartment&) = delete;
  Apartment& operator=(const Apartment&) = delete;

  HRESULT Result() const { return result_; }

 private:
  HRESULT result_;
};

/// The driver's property, as far as the program can take it for its own.
void ReadCable(platform::IMMDevice& device, EndpointFact& endpoint) {
  platform::ComObject<platform::IPropertyStore> store;
  HRESULT result = device.OpenPropertyStore(platform::STGM_READ, store.Receive());
  result = ResultOf(result, store);
  if (result < 0) {
    endpoint.propertyStoreError = result;
    return;
  }
  platform::PROPVARIANT value = {};
  result = store.Get()->GetValue(kCableIndexKey, &value);
  if (result < 0) {
    endpoint.propertyError = result;
  } else if (value.vt != 0) {
    endpoint.cableType = value.vt;
    const bool number = value.vt == platform::VT_UI4 || value.vt == platform::VT_I4;
    endpoint.cableValue = number ? value.ulVal : 0;
  }
  platform::PropVariantClear(&value);
}

void ReadConnection(platform::IMMDevice& device, EndpointFact& endpoint) {
  void* object = nullptr;
  HRESULT result =
      device.Activate(platform::IID_IDeviceTopology, platform::CLSCTX_ALL, nullptr, &object);
  platform::ComObject<platform::IDeviceTopology> topology(
      static_cast<platform::IDeviceTopology*>(object));
  result = ResultOf(result, topology);
  if (result < 0) {
    endpoint.topologyError = result;
    return;
  }
  platform::ComObject<platform::IConnector> connector;
  result = ResultOf(topology.Get()->GetConnector(0, connector.Receive()), connector);
  if (result < 0) {
    endpoint.connectorError = result;
    return;
  }
  platform::TaskString id;
  result = ResultOf(connector.Get()->GetDeviceIdConnectedTo(id.Receive()), id);
  if (result < 0) {
    endpoint.connectedError = result;
  } else {
    endpoint.connectedTo = id.Get();
  }
}

void ReadIdentity(platform::IMMDevice& device, EndpointFact& endpoint) {
  platform::TaskString id;
  const HRESULT result = device.GetId(id.Receive());
  if (result < 0) {
    endpoint.idError = result;
  } else if (!id) {
    endpoint.nullId = true;
  } else {
    endpoint.id = id.Get();
  }
  const HRESULT state = device.GetState(&endpoint.state);
  if (state < 0) {
    endpoint.stateError = state;
    endpoint.state = platform::DEVICE_STATE_ACTIVE;
  }
}

/// Keeps the first failure of a call that is made several times.
void Note(HRESULT result, std::string_view call, HRESULT& kept, CapturedMachine& machine) {
  if (kept != 0) return;
  kept = result;
  machine.Miss(u"endpoint catalog", call, static_cast<std::uint32_t>(result));
}

void ReadFlow(platform::IMMDeviceEnumerator& enumerator, EDataFlow flow, CapturedMachine& machine) {
  CatalogFact& catalog = machine.catalog;
  platform::ComObject<platform::IMMDeviceCollection> devices;
  HRESULT result = enumerator.EnumAudioEndpoints(flow, kListedStates, devices.Receive());
  result = ResultOf(result, devices);
  if (result < 0) {
    Note(result, "IMMDeviceEnumerator::EnumAudioEndpoints", catalog.enumError, machine);
    return;
  }
  std::uint32_t count = 0;
  result = devices.Get()->GetCount(&count);
  if (result < 0) {
    Note(result, "IMMDeviceCollection::GetCount", catalog.countError, machine);
    return;
  }
  for (std::uint32_t index = 0; index < count && index < kMostEndpoints; ++index) {
    platform::ComObject<platform::IMMDevice> device;
    result = ResultOf(devices.Get()->Item(index, device.Receive()), device);
    if (result < 0) {
      Note(result, "IMMDeviceCollection::Item", catalog.itemError, machine);
      catalog.endpoints.push_back({.capture = flow == platform::eCapture});
      continue;
    }
    EndpointFact endpoint = {.capture = flow == platform::eCapture};
    ReadCable(*device.Get(), endpoint);
    // Nothing more is read of an endpoint of another maker.
    if (endpoint.cableType) {
      ReadConnection(*device.Get(), endpoint);
      ReadIdentity(*device.Get(), endpoint);
    }
    catalog.endpoints.push_back(std::move(endpoint));
  }
}

}  // namespace

void ReadCatalog(CapturedMachine& machine) {
  CatalogFact& catalog = machine.catalog;
  const Apartment apartment;
  if (apartment.Result() < 0) {
    catalog.coInitializeResult = apartment.Result();
    machine.Miss(u"endpoint catalog", "CoInitializeEx",
                 static_cast<std::uint32_t>(apartment.Result()));
    if (apartment.Result() != platform::RPC_E_CHANGED_MODE) return;
  }
  void* object = nullptr;
  HRESULT result =
      platform::CoCreateInstance(platform::CLSID_MMDeviceEnumerator, platform::CLSCTX_ALL,
                                 platform::IID_IMMDeviceEnumerator, &object);
  const platform::ComObject<platform::IMMDeviceEnumerator> enumerator(
      static_cast<platform::IMMDeviceEnumerator*>(object));
  result = ResultOf(result, enumerator);
  if (result < 0) {
    Note(result, "CoCreateInstance", catalog.createError, machine);
    return;
  }
  ReadFlow(*enumerator.Get(), platform::eRender, machine);
  ReadFlow(*enumerator.Get(), platform::eCapture, machine);
}

}  // namespace vorn::capture

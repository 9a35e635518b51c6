#include "platform/simulated/audio_catalog.h"

#include "base/text.h"
#include "platform/simulated/audio_values.h"
#include "platform/simulated/com.h"

namespace vorn::platform::simulated {

namespace {

constexpr PROPERTYKEY kCableKey = {
    {0x4B7A2E8F, 0x3C5D, 0x4E91, {0x8A, 0x67, 0x2F, 0x9B, 0x1E, 0x3D, 0x5C, 0x7A}}, 2};
constexpr std::int32_t kAllFlows = 2;      // eAll
constexpr std::uint32_t kAllStates = 0xF;  // DEVICE_STATEMASK_ALL
constexpr std::uint32_t kMostAccess = 2;   // STGM_READWRITE

AudioCatalog& TheCatalog() {
  return Process::Current().TheMachine().audio;
}

/// An endpoint as a program holds it: the catalog when it was listed, whose copy costs nothing
/// until the catalog changes, and its place there, which distinguishes endpoints that share an id.
struct Listed {
  std::size_t place = 0;
  SharedList<AudioEndpoint> catalog;

  const std::u16string& Id() const { return catalog.Read()[place].id; }

  /// The endpoint in its present state; null when it is gone.
  const AudioEndpoint* Find() const {
    const std::vector<AudioEndpoint>& endpoints = TheCatalog().endpoints.Read();
    if (place < endpoints.size() &&
        (&endpoints == &catalog.Read() || AreSameUnits(endpoints[place].id, Id()))) {
      return &endpoints[place];
    }
    for (const AudioEndpoint& endpoint : endpoints) {
      if (AreSameUnits(endpoint.id, Id())) return &endpoint;
    }
    return nullptr;
  }
};

/// The result of a step on an endpoint: the endpoint's own error, or that the endpoint is gone.
HRESULT Check(const AudioEndpoint* endpoint, std::int32_t AudioEndpoint::*error) {
  return endpoint == nullptr ? AUDCLNT_E_DEVICE_INVALIDATED : endpoint->*error;
}

// ------------------------------------------------------------------------------------------------
// Properties.

class PropertyStore final : public ComObjectOf<IPropertyStore> {
 public:
  explicit PropertyStore(Listed endpoint) : endpoint_(std::move(endpoint)) {}

  HRESULT GetCount(std::uint32_t*) override { return E_NOTIMPL; }
  HRESULT GetAt(std::uint32_t, PROPERTYKEY*) override { return E_NOTIMPL; }
  HRESULT GetValue(const PROPERTYKEY& key, PROPVARIANT* value) override {
    return SimulateCom("IPropertyStore::GetValue",
                       Arguments("endpoint", endpoint_.Id(), "format", key.fmtid, "id", key.pid),
                       [&](const CallFaults&) { return Read(key, value); });
  }
  HRESULT SetValue(const PROPERTYKEY&, const PROPVARIANT&) override { return E_NOTIMPL; }
  HRESULT Commit() override { return E_NOTIMPL; }

 private:
  HRESULT Read(const PROPERTYKEY& key, PROPVARIANT* value) const {
    if (value == nullptr) return E_POINTER;
    const AudioEndpoint* endpoint = endpoint_.Find();
    const HRESULT error = Check(endpoint, &AudioEndpoint::propertyError);
    if (error != S_OK) return error;
    // Documented: a missing property reads as an empty variant.
    *value = {};
    if (!(key == kCableKey) || !endpoint->cable) return S_OK;
    value->vt = endpoint->cable->type;
    if (value->vt == VT_LPWSTR) {
      value->pointer = AllocateTaskString(ToUtf16(std::to_string(endpoint->cable->value)));
    } else {
      value->ulVal = endpoint->cable->value;
    }
    return S_OK;
  }

  Listed endpoint_;
};

// ------------------------------------------------------------------------------------------------
// Topology.

class Connector final : public ComObjectOf<IConnector> {
 public:
  explicit Connector(Listed endpoint) : endpoint_(std::move(endpoint)) {}

  HRESULT GetType(std::int32_t*) override { return E_NOTIMPL; }
  HRESULT GetDataFlow(std::int32_t*) override { return E_NOTIMPL; }
  HRESULT ConnectTo(IConnector*) override { return E_NOTIMPL; }
  HRESULT Disconnect() override { return E_NOTIMPL; }
  HRESULT IsConnected(std::int32_t*) override { return E_NOTIMPL; }
  HRESULT GetConnectedTo(IConnector**) override { return E_NOTIMPL; }
  HRESULT GetConnectorIdConnectedTo(char16_t**) override { return E_NOTIMPL; }
  HRESULT GetDeviceIdConnectedTo(char16_t** id) override {
    return SimulateGiving("IConnector::GetDeviceIdConnectedTo",
                          Arguments("endpoint", endpoint_.Id()), id, [&](char16_t*& made) {
                            const AudioEndpoint* endpoint = endpoint_.Find();
                            const HRESULT error = Check(endpoint, &AudioEndpoint::connectedError);
                            if (error != S_OK) return error;
                            // Documented: asking a connector that leads nowhere gives E_NOTFOUND.
                            if (endpoint->connectedTo.empty()) return E_NOTFOUND;
                            made = AllocateTaskString(endpoint->connectedTo);
                            return S_OK;
                          });
  }

 private:
  Listed endpoint_;
};

class Topology final : public ComObjectOf<IDeviceTopology> {
 public:
  explicit Topology(Listed endpoint) : endpoint_(std::move(endpoint)) {}

  HRESULT GetConnectorCount(std::uint32_t*) override { return E_NOTIMPL; }
  HRESULT GetConnector(std::uint32_t index, IConnector** connector) override {
    return SimulateGiving(
        "IDeviceTopology::GetConnector", Arguments("endpoint", endpoint_.Id(), "index", index),
        connector, [&](IConnector*& made) {
          const HRESULT error = Check(endpoint_.Find(), &AudioEndpoint::connectorError);
          if (error != S_OK) return error;
          // Documented (device topologies): an endpoint device has one connector, number 0.
          if (index > 0) return E_INVALIDARG;
          made = ComCounter::Make<Connector>(endpoint_);
          return S_OK;
        });
  }
  HRESULT GetSubunitCount(std::uint32_t*) override { return E_NOTIMPL; }
  HRESULT GetSubunit(std::uint32_t, void**) override { return E_NOTIMPL; }
  HRESULT GetPartById(std::uint32_t, void**) override { return E_NOTIMPL; }
  HRESULT GetDeviceId(char16_t**) override { return E_NOTIMPL; }
  HRESULT GetSignalPath(void*, void*, std::int32_t, void**) override { return E_NOTIMPL; }

 protected:
  bool Answers(const GUID& iid) const override {
    return iid == IID_IUnknown || iid == IID_IDeviceTopology;
  }

 private:
  Listed endpoint_;
};

// ------------------------------------------------------------------------------------------------
// Devices and their collection.

class EndpointDevice final : public ComObjectOf<IMMDevice> {
 public:
  explicit EndpointDevice(Listed endpoint) : endpoint_(std::move(endpoint)) {}

  HRESULT Activate(const GUID& iid, std::uint32_t context, PROPVARIANT*, void** object) override {
    IDeviceTopology* topology = nullptr;
    const HRESULT result =
        SimulateGiving("IMMDevice::Activate",
                       Arguments("endpoint", endpoint_.Id(), "iid", iid, "context", Hex{context}),
                       object == nullptr ? nullptr : &topology,
                       [&](IDeviceTopology*& made) { return MakeTopology(iid, made); });
    if (object != nullptr) *object = topology;
    return result;
  }

  HRESULT OpenPropertyStore(std::uint32_t access, IPropertyStore** store) override {
    return SimulateGiving("IMMDevice::OpenPropertyStore",
                          Arguments("endpoint", endpoint_.Id(), "access", Hex{access}), store,
                          [&](IPropertyStore*& made) {
                            if (access > kMostAccess) return E_INVALIDARG;
                            const HRESULT error =
                                Check(endpoint_.Find(), &AudioEndpoint::propertyStoreError);
                            if (error == S_OK) made = ComCounter::Make<PropertyStore>(endpoint_);
                            return error;
                          });
  }

  HRESULT GetId(char16_t** id) override {
    return SimulateGiving("IMMDevice::GetId", Arguments("endpoint", endpoint_.Id()), id,
                          [&](char16_t*& made) {
                            const AudioEndpoint* endpoint = endpoint_.Find();
                            const HRESULT error = Check(endpoint, &AudioEndpoint::idError);
                            if (error == S_OK && !endpoint->nullId) {
                              made = AllocateTaskString(endpoint->id);
                            }
                            return error;
                          });
  }

  HRESULT GetState(std::uint32_t* state) override {
    return SimulateCom("IMMDevice::GetState", Arguments("endpoint", endpoint_.Id()),
                       [&](const CallFaults&) {
                         if (state == nullptr) return E_POINTER;
                         const AudioEndpoint* endpoint = endpoint_.Find();
                         const HRESULT error = Check(endpoint, &AudioEndpoint::stateError);
                         if (error == S_OK) *state = endpoint->state;
                         return error;
                       });
  }

 private:
  HRESULT MakeTopology(const GUID& iid, IDeviceTopology*& made) const {
    if (!(iid == IID_IDeviceTopology)) return E_NOINTERFACE;
    const AudioEndpoint* endpoint = endpoint_.Find();
    const HRESULT error = Check(endpoint, &AudioEndpoint::topologyError);
    if (error != S_OK) return error;
    // Documented: an endpoint whose device is gone cannot be activated.
    if (endpoint->state == DEVICE_STATE_NOTPRESENT) return AUDCLNT_E_DEVICE_INVALIDATED;
    made = ComCounter::Make<Topology>(endpoint_);
    return S_OK;
  }

  Listed endpoint_;
};

/// The endpoints at the time of the listing. Documented: later changes do not show in a collection.
class EndpointCollection final : public ComObjectOf<IMMDeviceCollection> {
 public:
  explicit EndpointCollection(std::vector<Listed> endpoints) : endpoints_(std::move(endpoints)) {}

  HRESULT GetCount(std::uint32_t* count) override {
    return SimulateCom("IMMDeviceCollection::GetCount", Arguments(), [&](const CallFaults&) {
      if (count == nullptr) return E_POINTER;
      const HRESULT error = TheCatalog().countError;
      if (error == S_OK) *count = static_cast<std::uint32_t>(endpoints_.size());
      return error;
    });
  }

  HRESULT Item(std::uint32_t index, IMMDevice** device) override {
    return SimulateGiving("IMMDeviceCollection::Item", Arguments("index", index), device,
                          [&](IMMDevice*& made) {
                            const HRESULT error = TheCatalog().itemError;
                            if (error != S_OK) return error;
                            if (index >= endpoints_.size()) return E_INVALIDARG;
                            made = ComCounter::Make<EndpointDevice>(endpoints_[index]);
                            return S_OK;
                          });
  }

 private:
  std::vector<Listed> endpoints_;
};

class DeviceEnumerator final : public ComObjectOf<IMMDeviceEnumerator> {
 public:
  HRESULT EnumAudioEndpoints(EDataFlow flow, std::uint32_t stateMask,
                             IMMDeviceCollection** devices) override {
    return SimulateGiving(
        "IMMDeviceEnumerator::EnumAudioEndpoints",
        Arguments("flow", static_cast<std::int32_t>(flow), "stateMask", Hex{stateMask}), devices,
        [&](IMMDeviceCollection*& made) { return List(flow, stateMask, made); });
  }
  HRESULT GetDefaultAudioEndpoint(EDataFlow, std::int32_t, IMMDevice**) override {
    return E_NOTIMPL;
  }
  HRESULT GetDevice(const char16_t*, IMMDevice**) override { return E_NOTIMPL; }
  HRESULT RegisterEndpointNotificationCallback(void*) override { return E_NOTIMPL; }
  HRESULT UnregisterEndpointNotificationCallback(void*) override { return E_NOTIMPL; }

 protected:
  bool Answers(const GUID& iid) const override {
    return iid == IID_IUnknown || iid == IID_IMMDeviceEnumerator;
  }

 private:
  static HRESULT List(std::int32_t flow, std::uint32_t stateMask, IMMDeviceCollection*& made) {
    if (flow < eRender || flow > kAllFlows) return E_INVALIDARG;
    if (stateMask == 0 || (stateMask & ~kAllStates) != 0) return E_INVALIDARG;
    // Assumed: the catalog reports that its services are not running. Question: what does
    // EnumAudioEndpoints return while AudioEndpointBuilder and Audiosrv are stopped?
    if (!AudioServicesRun(Process::Current().TheMachine())) return AUDCLNT_E_SERVICE_NOT_RUNNING;
    const AudioCatalog& catalog = TheCatalog();
    if (catalog.enumError != S_OK) return catalog.enumError;
    std::vector<Listed> listed;
    listed.reserve(catalog.endpoints.size());
    // Documented (remote desktop audio): a session whose sound is redirected lists none of the
    // machine's endpoints. Assumed: the listing succeeds and is empty. Question
    // (redirected-session): what does EnumAudioEndpoints list in a session with redirected audio?
    for (std::size_t i = 0; i < catalog.endpoints.size() && !catalog.redirected; ++i) {
      const AudioEndpoint& endpoint = catalog.endpoints[i];
      const bool wanted = flow == kAllFlows || endpoint.capture == (flow == eCapture);
      if (wanted && (endpoint.state & stateMask) != 0) {
        listed.push_back({i, catalog.endpoints});
      }
    }
    made = ComCounter::Make<EndpointCollection>(std::move(listed));
    return S_OK;
  }
};

}  // namespace

IMMDeviceEnumerator* CreateDeviceEnumerator(HRESULT* result) {
  *result = TheCatalog().createError;
  return *result == S_OK ? ComCounter::Make<DeviceEnumerator>() : nullptr;
}

}  // namespace vorn::platform::simulated

#include "catalog/catalog_snapshot.h"

#include "base/check_result.h"
#include "catalog/endpoint_recognition.h"
#include "catalog/endpoint_sets.h"
#include "platform/audio_endpoints.h"
#include "platform/owners.h"
#include "product/endpoint_identity.h"
#include "product/product.h"

#include <cstdint>
#include <optional>
#include <utility>

namespace vorn {

namespace {

using platform::EDataFlow;
using platform::HRESULT;

bool IsFailure(HRESULT result) {
  return result < 0;
}

/// Joins the multithreaded apartment for its scope.
class ComApartment {
 public:
  ComApartment() : joined_(platform::CoInitializeEx(platform::COINIT_MULTITHREADED)) {}
  ~ComApartment() {
    if (!IsFailure(joined_)) platform::CoUninitialize();
  }
  ComApartment(const ComApartment&) = delete;
  ComApartment& operator=(const ComApartment&) = delete;

  /// A thread that is already in another kind of apartment can use COM as well.
  bool IsUsable() const { return !IsFailure(joined_) || joined_ == platform::RPC_E_CHANGED_MODE; }

 private:
  HRESULT joined_;
};

class PropertyValue {
 public:
  PropertyValue() = default;
  ~PropertyValue() { platform::PropVariantClear(&value_); }
  PropertyValue(const PropertyValue&) = delete;
  PropertyValue& operator=(const PropertyValue&) = delete;

  platform::PROPVARIANT* Receive() { return &value_; }
  const platform::PROPVARIANT& Get() const { return value_; }

 private:
  platform::PROPVARIANT value_ = {};
};

/// Owns the object that a call returned through an untyped pointer; empty if the call failed.
template <class Interface>
platform::ComObject<Interface> OwnIfCreated(HRESULT result, void* object) {
  platform::ComObject<Interface> owner(static_cast<Interface*>(object));
  if (IsFailure(result)) owner.Reset();
  return owner;
}

platform::ComObject<platform::IMMDeviceEnumerator> CreateEnumerator() {
  void* object = nullptr;
  const HRESULT result =
      platform::CoCreateInstance(platform::CLSID_MMDeviceEnumerator, platform::CLSCTX_ALL,
                                 platform::IID_IMMDeviceEnumerator, &object);
  return OwnIfCreated<platform::IMMDeviceEnumerator>(result, object);
}

std::optional<std::uint32_t> ReadCableIndex(platform::IMMDevice& device) {
  platform::ComObject<platform::IPropertyStore> store;
  if (IsFailure(device.OpenPropertyStore(platform::STGM_READ, store.Receive())) || !store) {
    return std::nullopt;
  }
  PropertyValue value;
  if (IsFailure(store.Get()->GetValue(kCableIndexKey, value.Receive()))) return std::nullopt;
  return CableIndexOf(value.Get());
}

platform::ComObject<platform::IDeviceTopology> ActivateTopology(platform::IMMDevice& device) {
  void* object = nullptr;
  const HRESULT result =
      device.Activate(platform::IID_IDeviceTopology, platform::CLSCTX_ALL, nullptr, &object);
  return OwnIfCreated<platform::IDeviceTopology>(result, object);
}

/// The device id of the filter that the endpoint's first connector is connected to.
std::optional<std::u16string> ReadConnectedDeviceId(platform::IMMDevice& device) {
  const platform::ComObject<platform::IDeviceTopology> topology = ActivateTopology(device);
  if (!topology) return std::nullopt;
  platform::ComObject<platform::IConnector> connector;
  if (IsFailure(topology.Get()->GetConnector(0, connector.Receive())) || !connector) {
    return std::nullopt;
  }
  platform::TaskString id;
  if (IsFailure(connector.Get()->GetDeviceIdConnectedTo(id.Receive())) || !id) return std::nullopt;
  return std::u16string(id.Get());
}

class CatalogLister {
 public:
  CatalogLister(std::u16string_view rootInstanceId, PnpComparison comparison,
                CatalogSnapshot& snapshot)
      : rootInstanceId_(rootInstanceId), comparison_(comparison), snapshot_(snapshot) {}

  /// Returns whether everything could be listed; what could be is recorded either way.
  bool List(platform::IMMDeviceEnumerator& enumerator) {
    const bool render = ListFlow(enumerator, platform::eRender);
    const bool capture = ListFlow(enumerator, platform::eCapture);
    return render && capture;
  }

 private:
  bool ListFlow(platform::IMMDeviceEnumerator& enumerator, EDataFlow flow) {
    constexpr std::uint32_t kListedStates =
        platform::DEVICE_STATE_ACTIVE | platform::DEVICE_STATE_DISABLED;
    platform::ComObject<platform::IMMDeviceCollection> devices;
    if (IsFailure(enumerator.EnumAudioEndpoints(flow, kListedStates, devices.Receive())) ||
        !devices) {
      return false;
    }
    std::uint32_t count = 0;
    if (IsFailure(devices.Get()->GetCount(&count))) return false;
    bool complete = true;
    for (std::uint32_t index = 0; index < count; ++index) {
      if (!ListItem(*devices.Get(), index, flow)) complete = false;
    }
    return complete;
  }

  bool ListItem(platform::IMMDeviceCollection& devices, std::uint32_t index, EDataFlow flow) {
    platform::ComObject<platform::IMMDevice> device;
    if (IsFailure(devices.Item(index, device.Receive())) || !device) return false;
    return ListDevice(*device.Get(), flow);
  }

  /// A device that is not the program's is skipped, which is not a failure.
  bool ListDevice(platform::IMMDevice& device, EDataFlow flow) {
    const std::optional<std::uint32_t> cableIndex = ReadCableIndex(device);
    if (!cableIndex) return true;
    const std::optional<std::u16string> connected = ReadConnectedDeviceId(device);
    if (!connected || !IsConnectedToRoot(*connected, rootInstanceId_)) return true;

    platform::TaskString id;
    if (IsFailure(device.GetId(id.Receive())) || !id) return false;
    std::uint32_t state = 0;
    if (IsFailure(device.GetState(&state))) return false;
    Record({*cableIndex, flow == platform::eCapture, state == platform::DEVICE_STATE_ACTIVE,
            id.Get()});
    return true;
  }

  void Record(CatalogEndpoint endpoint) {
    snapshot_.endpointIds.push_back(endpoint.endpointId);
    if (endpoint.active) {
      snapshot_.activeEndpointIds.push_back(endpoint.endpointId);
      if (comparison_ == PnpComparison::Children) {
        snapshot_.activeInstanceIds.push_back(InstanceIdOfEndpoint(endpoint.endpointId));
      }
    }
    snapshot_.endpoints.push_back(std::move(endpoint));
  }

  std::u16string_view rootInstanceId_;
  PnpComparison comparison_;
  CatalogSnapshot& snapshot_;
};

CheckResult ListCatalog(std::u16string_view rootInstanceId, PnpComparison comparison,
                        CatalogSnapshot& snapshot) {
  const ComApartment apartment;
  if (!apartment.IsUsable()) return CheckResult::Failed(u"COM initialization failed");
  const platform::ComObject<platform::IMMDeviceEnumerator> enumerator = CreateEnumerator();
  if (!enumerator) return CheckResult::Failed(u"MMDevice enumerator unavailable");
  CatalogLister lister(rootInstanceId, comparison, snapshot);
  if (!lister.List(*enumerator.Get())) {
    return CheckResult::Failed(u"MMDevice catalog enumeration was incomplete");
  }
  return CheckResult::Passed();
}

}  // namespace

CatalogSnapshot TakeCatalogSnapshot(std::u16string_view rootInstanceId,
                                    const std::vector<std::u16string>& presentChildren,
                                    PnpComparison comparison) {
  CatalogSnapshot snapshot;
  snapshot.endpoints.reserve(kEndpointCount);
  snapshot.endpointIds.reserve(kEndpointCount);
  snapshot.activeEndpointIds.reserve(kEndpointCount);
  if (comparison == PnpComparison::Children) snapshot.activeInstanceIds.reserve(kEndpointCount);
  CheckResult judged = ListCatalog(rootInstanceId, comparison, snapshot);
  if (judged.ok) judged = CheckCatalogEndpoints(snapshot.endpoints);
  if (judged.ok && comparison == PnpComparison::Children &&
      !CompareInstanceSets(presentChildren, snapshot.activeInstanceIds, RootOrigin::Existing).ok) {
    judged = CheckResult::Failed(
        u"ACTIVE MMDevice catalog does not match the exact problem-free started present "
        u"AudioEndpoint children");
  }
  snapshot.ok = judged.ok;
  snapshot.reason = std::move(judged.reason);
  return snapshot;
}

}  // namespace vorn

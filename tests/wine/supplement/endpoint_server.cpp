// The endpoint catalog that Wine lacks, as a COM server: the class of the device enumerator, whose
// endpoints are those that the driver shows.

#include "state.h"

#include <windows.h>
#include <initguid.h>
#include <cstring>
#include <cwchar>
#include <devicetopology.h>
#include <mmdeviceapi.h>
#include <propsys.h>
#include <string>
#include <vector>

using supplement::Endpoint;
using supplement::Log;

namespace {

const GUID kEnumeratorClass = {
    0xBCDE0395, 0xE52F, 0x467C, {0x8E, 0x3D, 0xC4, 0x57, 0x92, 0x91, 0x69, 0x2E}};
const GUID kTopology = {
    0x2A07407E, 0x6497, 0x4A18, {0x97, 0x87, 0x32, 0xF7, 0x9B, 0xD0, 0xD9, 0x8F}};
const GUID kCableProperty = {
    0x4B7A2E8F, 0x3C5D, 0x4E91, {0x8A, 0x67, 0x2F, 0x9B, 0x1E, 0x3D, 0x5C, 0x7A}};

wchar_t* CopyText(const std::wstring& text) {
  const std::size_t bytes = (text.size() + 1) * sizeof(wchar_t);
  auto* copy = static_cast<wchar_t*>(CoTaskMemAlloc(bytes));
  std::memcpy(copy, text.c_str(), bytes);
  return copy;
}

/// Counts references; every interface of ours is its own identity.
template <class Interface>
class Object : public Interface {
 public:
  virtual ~Object() = default;
  HRESULT WINAPI QueryInterface(REFIID, void** object) override {
    *object = static_cast<Interface*>(this);
    AddRef();
    return S_OK;
  }
  ULONG WINAPI AddRef() override { return ++references_; }
  ULONG WINAPI Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }

 private:
  ULONG references_ = 1;
};

class Connector : public Object<IConnector> {
 public:
  HRESULT WINAPI GetType(ConnectorType*) override { return E_NOTIMPL; }
  HRESULT WINAPI GetDataFlow(DataFlow*) override { return E_NOTIMPL; }
  HRESULT WINAPI ConnectTo(IConnector*) override { return E_NOTIMPL; }
  HRESULT WINAPI Disconnect() override { return E_NOTIMPL; }
  HRESULT WINAPI IsConnected(WINBOOL*) override { return E_NOTIMPL; }
  HRESULT WINAPI GetConnectedTo(IConnector**) override { return E_NOTIMPL; }
  HRESULT WINAPI GetConnectorIdConnectedTo(LPWSTR*) override { return E_NOTIMPL; }
  HRESULT WINAPI GetDeviceIdConnectedTo(LPWSTR* id) override {
    *id = CopyText(L"{2}.\\\\?\\root#media#0000#{6994ad04-93ef-11d0-a3cc-00a0c9223196}\\pin");
    return S_OK;
  }
};

class Topology : public Object<IDeviceTopology> {
 public:
  HRESULT WINAPI GetConnectorCount(UINT* count) override {
    *count = 1;
    return S_OK;
  }
  HRESULT WINAPI GetConnector(UINT index, IConnector** connector) override {
    if (index != 0) return E_INVALIDARG;
    *connector = new Connector;
    return S_OK;
  }
  HRESULT WINAPI GetSubunitCount(UINT*) override { return E_NOTIMPL; }
  HRESULT WINAPI GetSubunit(UINT, ISubUnit**) override { return E_NOTIMPL; }
  HRESULT WINAPI GetPartById(UINT, IPart**) override { return E_NOTIMPL; }
  HRESULT WINAPI GetDeviceId(LPWSTR*) override { return E_NOTIMPL; }
  HRESULT WINAPI GetSignalPath(IPart*, IPart*, WINBOOL, IPartsList**) override { return E_NOTIMPL; }
};

class Properties : public Object<IPropertyStore> {
 public:
  explicit Properties(const Endpoint& endpoint) : endpoint_(endpoint) {}
  HRESULT WINAPI GetCount(DWORD*) override { return E_NOTIMPL; }
  HRESULT WINAPI GetAt(DWORD, PROPERTYKEY*) override { return E_NOTIMPL; }
  HRESULT WINAPI GetValue(REFPROPERTYKEY key, PROPVARIANT* value) override {
    std::memset(value, 0, sizeof *value);
    if (IsEqualGUID(key.fmtid, kCableProperty) && key.pid == 2) {
      value->vt = VT_UI4;
      value->ulVal = static_cast<ULONG>(endpoint_.cable);
    }
    return S_OK;
  }
  HRESULT WINAPI SetValue(REFPROPERTYKEY, REFPROPVARIANT) override { return E_NOTIMPL; }
  HRESULT WINAPI Commit() override { return E_NOTIMPL; }

 private:
  Endpoint endpoint_;
};

class Device : public Object<IMMDevice> {
 public:
  explicit Device(const Endpoint& endpoint) : endpoint_(endpoint) {}
  HRESULT WINAPI Activate(REFIID iid, DWORD, PROPVARIANT*, void** object) override {
    if (!IsEqualGUID(iid, kTopology)) return E_NOINTERFACE;
    *object = static_cast<IDeviceTopology*>(new Topology);
    return S_OK;
  }
  HRESULT WINAPI OpenPropertyStore(DWORD, IPropertyStore** store) override {
    *store = new Properties(endpoint_);
    return S_OK;
  }
  HRESULT WINAPI GetId(LPWSTR* id) override {
    *id = CopyText(endpoint_.Id());
    return S_OK;
  }
  HRESULT WINAPI GetState(DWORD* state) override {
    *state = DEVICE_STATE_ACTIVE;
    return S_OK;
  }

 private:
  Endpoint endpoint_;
};

class Collection : public Object<IMMDeviceCollection> {
 public:
  explicit Collection(std::vector<Endpoint> endpoints) : endpoints_(std::move(endpoints)) {}
  HRESULT WINAPI GetCount(UINT* count) override {
    *count = static_cast<UINT>(endpoints_.size());
    return S_OK;
  }
  HRESULT WINAPI Item(UINT index, IMMDevice** device) override {
    if (index >= endpoints_.size()) return E_INVALIDARG;
    *device = new Device(endpoints_[index]);
    return S_OK;
  }

 private:
  std::vector<Endpoint> endpoints_;
};

class Enumerator : public Object<IMMDeviceEnumerator> {
 public:
  HRESULT WINAPI EnumAudioEndpoints(EDataFlow flow, DWORD states,
                                    IMMDeviceCollection** devices) override {
    Log("IMMDeviceEnumerator::EnumAudioEndpoints");
    std::vector<Endpoint> listed;
    const bool running = supplement::IsDriverRunning() && (states & DEVICE_STATE_ACTIVE) != 0;
    for (const Endpoint& endpoint : supplement::Endpoints()) {
      if (running && endpoint.visible && endpoint.capture == (flow == eCapture)) {
        listed.push_back(endpoint);
      }
    }
    *devices = new Collection(std::move(listed));
    return S_OK;
  }
  HRESULT WINAPI GetDefaultAudioEndpoint(EDataFlow, ERole, IMMDevice**) override {
    return E_NOTIMPL;
  }
  HRESULT WINAPI GetDevice(LPCWSTR, IMMDevice**) override { return E_NOTIMPL; }
  HRESULT WINAPI RegisterEndpointNotificationCallback(IMMNotificationClient*) override {
    return E_NOTIMPL;
  }
  HRESULT WINAPI UnregisterEndpointNotificationCallback(IMMNotificationClient*) override {
    return E_NOTIMPL;
  }
};

class Factory : public Object<IClassFactory> {
 public:
  HRESULT WINAPI CreateInstance(IUnknown*, REFIID, void** object) override {
    *object = static_cast<IMMDeviceEnumerator*>(new Enumerator);
    return S_OK;
  }
  HRESULT WINAPI LockServer(WINBOOL) override { return S_OK; }
};

}  // namespace

extern "C" HRESULT WINAPI DllGetClassObject(REFCLSID classId, REFIID, void** object) {
  if (!IsEqualGUID(classId, kEnumeratorClass)) return CLASS_E_CLASSNOTAVAILABLE;
  *object = static_cast<IClassFactory*>(new Factory);
  return S_OK;
}

extern "C" HRESULT WINAPI DllCanUnloadNow() {
  return S_FALSE;
}

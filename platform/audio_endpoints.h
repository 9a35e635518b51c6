#pragma once

// COM and the audio endpoint catalog. The interfaces are abstract classes with the published vtable
// order, so that the real objects can be called through them. Their methods follow COM's rules: a
// negative result is a failure, and an object handed out must be released by the caller.

#include "platform/types.h"

#include <cstdint>

namespace vorn::platform {

using PROPERTYKEY = DEVPROPKEY;

inline constexpr HRESULT RPC_E_CHANGED_MODE = static_cast<HRESULT>(0x80010106);

inline constexpr std::uint32_t COINIT_MULTITHREADED = 0;
inline constexpr std::uint32_t CLSCTX_ALL = 23;
inline constexpr std::uint32_t STGM_READ = 0;

inline constexpr std::uint32_t DEVICE_STATE_ACTIVE = 0x1;
inline constexpr std::uint32_t DEVICE_STATE_DISABLED = 0x2;

inline constexpr std::uint16_t VT_I4 = 3;
inline constexpr std::uint16_t VT_UI4 = 19;

/// Direction of an audio endpoint (EDataFlow).
enum EDataFlow : std::int32_t { eRender = 0, eCapture = 1 };

inline constexpr GUID CLSID_MMDeviceEnumerator = {
    0xBCDE0395, 0xE52F, 0x467C, {0x8E, 0x3D, 0xC4, 0x57, 0x92, 0x91, 0x69, 0x2E}};
inline constexpr GUID IID_IMMDeviceEnumerator = {
    0xA95664D2, 0x9614, 0x4F35, {0xA7, 0x46, 0xDE, 0x8D, 0xB6, 0x36, 0x17, 0xE6}};
inline constexpr GUID IID_IDeviceTopology = {
    0x2A07407E, 0x6497, 0x4A18, {0x97, 0x87, 0x32, 0xF7, 0x9B, 0xD0, 0xD9, 0x8F}};

/// PROPVARIANT, reduced to what 32-bit numbers and pointers need.
struct PROPVARIANT {
  std::uint16_t vt;
  std::uint16_t wReserved1;
  std::uint16_t wReserved2;
  std::uint16_t wReserved3;
  union {
    std::int32_t lVal;
    std::uint32_t ulVal;
    void* pointer;
  };
  void* second;
};
static_assert(sizeof(PROPVARIANT) == 24);

// The interfaces have no virtual destructor on purpose: it would take a slot of the vtable.
// NOLINTBEGIN(cppcoreguidelines-virtual-class-destructor)
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#endif

struct IUnknown {
  virtual HRESULT QueryInterface(const GUID& iid, void** object) = 0;
  virtual std::uint32_t AddRef() = 0;
  virtual std::uint32_t Release() = 0;
};

struct IPropertyStore : IUnknown {
  virtual HRESULT GetCount(std::uint32_t* count) = 0;
  virtual HRESULT GetAt(std::uint32_t index, PROPERTYKEY* key) = 0;
  virtual HRESULT GetValue(const PROPERTYKEY& key, PROPVARIANT* value) = 0;
  virtual HRESULT SetValue(const PROPERTYKEY& key, const PROPVARIANT& value) = 0;
  virtual HRESULT Commit() = 0;
};

struct IMMDevice : IUnknown {
  virtual HRESULT Activate(const GUID& iid, std::uint32_t context, PROPVARIANT* parameters,
                           void** object) = 0;
  virtual HRESULT OpenPropertyStore(std::uint32_t access, IPropertyStore** store) = 0;
  /// The caller frees `*id` with CoTaskMemFree.
  virtual HRESULT GetId(char16_t** id) = 0;
  virtual HRESULT GetState(std::uint32_t* state) = 0;
};

struct IMMDeviceCollection : IUnknown {
  virtual HRESULT GetCount(std::uint32_t* count) = 0;
  virtual HRESULT Item(std::uint32_t index, IMMDevice** device) = 0;
};

struct IMMDeviceEnumerator : IUnknown {
  virtual HRESULT EnumAudioEndpoints(EDataFlow flow, std::uint32_t stateMask,
                                     IMMDeviceCollection** devices) = 0;
  virtual HRESULT GetDefaultAudioEndpoint(EDataFlow flow, std::int32_t role,
                                          IMMDevice** device) = 0;
  virtual HRESULT GetDevice(const char16_t* id, IMMDevice** device) = 0;
  virtual HRESULT RegisterEndpointNotificationCallback(void* client) = 0;
  virtual HRESULT UnregisterEndpointNotificationCallback(void* client) = 0;
};

struct IConnector : IUnknown {
  virtual HRESULT GetType(std::int32_t* type) = 0;
  virtual HRESULT GetDataFlow(std::int32_t* flow) = 0;
  virtual HRESULT ConnectTo(IConnector* connector) = 0;
  virtual HRESULT Disconnect() = 0;
  virtual HRESULT IsConnected(std::int32_t* connected) = 0;
  virtual HRESULT GetConnectedTo(IConnector** connector) = 0;
  virtual HRESULT GetConnectorIdConnectedTo(char16_t** id) = 0;
  /// The caller frees `*id` with CoTaskMemFree.
  virtual HRESULT GetDeviceIdConnectedTo(char16_t** id) = 0;
};

struct IDeviceTopology : IUnknown {
  virtual HRESULT GetConnectorCount(std::uint32_t* count) = 0;
  virtual HRESULT GetConnector(std::uint32_t index, IConnector** connector) = 0;
  virtual HRESULT GetSubunitCount(std::uint32_t* count) = 0;
  virtual HRESULT GetSubunit(std::uint32_t index, void** subunit) = 0;
  virtual HRESULT GetPartById(std::uint32_t id, void** part) = 0;
  virtual HRESULT GetDeviceId(char16_t** id) = 0;
  virtual HRESULT GetSignalPath(void* from, void* to, std::int32_t rejectMixed, void** parts) = 0;
};

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif
// NOLINTEND(cppcoreguidelines-virtual-class-destructor)

/// Joins a COM apartment (CoInitializeEx). A successful call is paired with CoUninitialize.
HRESULT CoInitializeEx(std::uint32_t concurrencyModel);

/// Leaves the apartment (CoUninitialize).
void CoUninitialize();

/// Creates an object without aggregation (CoCreateInstance).
HRESULT CoCreateInstance(const GUID& classId, std::uint32_t context, const GUID& iid,
                         void** object);

/// Frees a string that an interface handed out (CoTaskMemFree); null is allowed.
void CoTaskMemFree(void* memory);

/// Frees what a variant owns and empties it (PropVariantClear).
HRESULT PropVariantClear(PROPVARIANT* value);

}  // namespace vorn::platform

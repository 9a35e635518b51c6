// What of the seam no compiler can hold against Windows' headers: pointers, and the order of the
// methods of COM's interfaces.

#include "platform/audio_endpoints.h"
#include "platform/registry.h"
#include "platform/types.h"
#include "tests/contract/contract.h"

namespace vorn::contract {

namespace {

// Under names that no header of Windows defines.
const auto kOurRootKey = reinterpret_cast<std::intptr_t>(platform::HKEY_LOCAL_MACHINE);
const auto kOurNoHandle = reinterpret_cast<std::intptr_t>(platform::INVALID_HANDLE_VALUE);
const auto kOurNoList = reinterpret_cast<std::intptr_t>(platform::INVALID_DEVICE_INFO_LIST);
const auto kOurNoInf = reinterpret_cast<std::intptr_t>(platform::INVALID_INF);

}  // namespace

}  // namespace vorn::contract

// clang-format off
#include <windows.h>
#include <devicetopology.h>
#include <mmdeviceapi.h>
// clang-format on

#include <array>
#include <utility>

namespace vorn::contract {

namespace {

/// Stands for any argument.
struct Any {
  template <class T>
  operator T() const {  // NOLINT(google-explicit-constructor): that is what it is for
    return T{};
  }
};

int calledSlot = -1;

template <int Slot>
std::int32_t NoteSlot() {
  calledSlot = Slot;
  return 0;
}

template <int... Slots>
std::array<std::int32_t (*)(), sizeof...(Slots)> MakeTable(std::integer_sequence<int, Slots...>) {
  return {&NoteSlot<Slots>...};
}

/// An object with nothing but a table of methods, each of which notes its place. With the calling
/// convention of x64 a method may leave its arguments alone.
struct Object {
  std::int32_t (*const* table)();
};

void* AnObject() {
  static const auto table = MakeTable(std::make_integer_sequence<int, 16>());
  static Object object = {table.data()};
  static void* volatile hidden = &object;  // so that no call is resolved by its type
  return hidden;
}

/// The place in the table of the method that `call` calls.
template <class Interface, class Call>
int SlotOf(Call call) {
  calledSlot = -1;
  call(*static_cast<Interface*>(AnObject()));
  return calledSlot;
}

}  // namespace

CONTRACT(TheSeamsPointersAreWindows) {
  CHECK_EQ(kOurRootKey, reinterpret_cast<std::intptr_t>(HKEY_LOCAL_MACHINE));
  CHECK_EQ(kOurNoHandle, reinterpret_cast<std::intptr_t>(INVALID_HANDLE_VALUE));
  // SetupAPI's own lists and INFs are invalid at the same value.
  CHECK_EQ(kOurNoList, reinterpret_cast<std::intptr_t>(INVALID_HANDLE_VALUE));
  CHECK_EQ(kOurNoInf, reinterpret_cast<std::intptr_t>(INVALID_HANDLE_VALUE));
}

#define SAME_SLOT(interface_name, method, ...)                                        \
  do {                                                                                \
    const auto call = [](auto& object) { (void)object.method(__VA_ARGS__); };         \
    CHECK_EQ(SlotOf<platform::interface_name>(call), SlotOf<::interface_name>(call)); \
    CHECK(calledSlot >= 0);                                                           \
  } while (false)

CONTRACT(TheInterfacesHaveWindowsOrder) {
  SAME_SLOT(IUnknown, QueryInterface, Any(), Any());
  SAME_SLOT(IUnknown, AddRef);
  SAME_SLOT(IUnknown, Release);
  SAME_SLOT(IPropertyStore, GetCount, Any());
  SAME_SLOT(IPropertyStore, GetAt, Any(), Any());
  SAME_SLOT(IPropertyStore, GetValue, Any(), Any());
  SAME_SLOT(IPropertyStore, SetValue, Any(), Any());
  SAME_SLOT(IPropertyStore, Commit);
  SAME_SLOT(IMMDevice, Activate, Any(), Any(), Any(), Any());
  SAME_SLOT(IMMDevice, OpenPropertyStore, Any(), Any());
  SAME_SLOT(IMMDevice, GetId, Any());
  SAME_SLOT(IMMDevice, GetState, Any());
  SAME_SLOT(IMMDeviceCollection, GetCount, Any());
  SAME_SLOT(IMMDeviceCollection, Item, Any(), Any());
  SAME_SLOT(IMMDeviceEnumerator, EnumAudioEndpoints, Any(), Any(), Any());
  SAME_SLOT(IMMDeviceEnumerator, GetDefaultAudioEndpoint, Any(), Any(), Any());
  SAME_SLOT(IMMDeviceEnumerator, GetDevice, Any(), Any());
  SAME_SLOT(IMMDeviceEnumerator, RegisterEndpointNotificationCallback, Any());
  SAME_SLOT(IMMDeviceEnumerator, UnregisterEndpointNotificationCallback, Any());
  SAME_SLOT(IConnector, GetType, Any());
  SAME_SLOT(IConnector, GetDataFlow, Any());
  SAME_SLOT(IConnector, ConnectTo, Any());
  SAME_SLOT(IConnector, Disconnect);
  SAME_SLOT(IConnector, IsConnected, Any());
  SAME_SLOT(IConnector, GetConnectedTo, Any());
  SAME_SLOT(IConnector, GetConnectorIdConnectedTo, Any());
  SAME_SLOT(IConnector, GetDeviceIdConnectedTo, Any());
  SAME_SLOT(IDeviceTopology, GetConnectorCount, Any());
  SAME_SLOT(IDeviceTopology, GetConnector, Any(), Any());
  SAME_SLOT(IDeviceTopology, GetSubunitCount, Any());
  SAME_SLOT(IDeviceTopology, GetSubunit, Any(), Any());
  SAME_SLOT(IDeviceTopology, GetPartById, Any(), Any());
  SAME_SLOT(IDeviceTopology, GetDeviceId, Any());
  SAME_SLOT(IDeviceTopology, GetSignalPath, Any(), Any(), Any(), Any());
}

}  // namespace vorn::contract

// Device interfaces as SetupAPI lists them.

#include "base/text.h"
#include "platform/device_setup.h"
#include "platform/simulated/device_list.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/returned_data.h"

#include <algorithm>
#include <cstring>

namespace vorn::platform {

namespace simulated {

namespace {

constexpr std::uint32_t SPINT_ACTIVE = 0x1;

/// The element that `data` identifies; null, with the last error, when the list has no such
/// element.
const InterfaceElement* FindElement(const DeviceList& list, const SP_DEVICE_INTERFACE_DATA* data) {
  if (data == nullptr) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  if (data->cbSize != sizeof(SP_DEVICE_INTERFACE_DATA)) {
    SetLastError(ERROR_INVALID_USER_BUFFER);
    return nullptr;
  }
  if (data->Reserved == 0 || data->Reserved > list.interfaces.size()) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  return &list.interfaces[data->Reserved - 1];
}

/// Whether the device still has the interface, enabled or not.
bool StillExists(const DeviceElement& owner, const InterfaceElement& element) {
  const DeviceTree& tree = Process::Current().TheMachine().devices;
  const Device* device = tree.Find(owner.instanceId);
  return device != nullptr &&
         std::any_of(device->interfaces.begin(), device->interfaces.end(),
                     [&](const DeviceInterface& candidate) {
                       return candidate.interfaceClass == element.interfaceClass &&
                              IsSameDevice(candidate.path, element.path);
                     });
}

/// The detail record of a path: the size field, and the path with its terminator.
Bytes DetailOf(std::u16string_view path) {
  const std::uint32_t size = sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_W);
  Bytes detail(sizeof(size));
  std::memcpy(detail.data(), &size, sizeof(size));
  const Bytes text = ToTerminatedBytes(path);
  detail.insert(detail.end(), text.begin(), text.end());
  if (detail.size() < size) detail.resize(size);
  return detail;
}

}  // namespace

}  // namespace simulated

using namespace simulated;

bool SetupDiEnumDeviceInterfaces(HDEVINFO list, const GUID* interfaceClass, std::uint32_t index,
                                 SP_DEVICE_INTERFACE_DATA* interfaceData) {
  return SimulateBool(
      "SetupDiEnumDeviceInterfaces",
      Arguments("DeviceInfoSet", list, "InterfaceClassGuid",
                interfaceClass == nullptr ? GUID{} : *interfaceClass, "MemberIndex", index),
      [&](const CallFaults&) {
        const auto found = FindList(list);
        if (found == nullptr) return false;
        // Observed: an interface record of another size is an invalid parameter, not an invalid
        // user buffer.
        if (interfaceClass == nullptr || interfaceData == nullptr ||
            interfaceData->cbSize != sizeof(SP_DEVICE_INTERFACE_DATA)) {
          return FailWith(ERROR_INVALID_PARAMETER);
        }
        std::uint32_t seen = 0;
        for (std::size_t i = 0; i < found->interfaces.size(); ++i) {
          const InterfaceElement& element = found->interfaces[i];
          if (element.interfaceClass != *interfaceClass || seen++ != index) continue;
          interfaceData->InterfaceClassGuid = element.interfaceClass;
          interfaceData->Flags = element.active ? SPINT_ACTIVE : 0;
          interfaceData->Reserved = i + 1;
          return true;
        }
        return FailWith(ERROR_NO_MORE_ITEMS);
      });
}

bool SetupDiGetDeviceInterfaceDetailW(HDEVINFO list, const SP_DEVICE_INTERFACE_DATA* interfaceData,
                                      SP_DEVICE_INTERFACE_DETAIL_DATA_W* detail, std::uint32_t size,
                                      std::uint32_t* required, SP_DEVINFO_DATA* device) {
  return SimulateBool(
      "SetupDiGetDeviceInterfaceDetailW",
      Arguments("DeviceInfoSet", list, "DeviceInterfaceDetailDataSize", size),
      [&](const CallFaults& faults) {
        const auto found = FindList(list);
        const InterfaceElement* element =
            found == nullptr ? nullptr : FindElement(*found, interfaceData);
        if (element == nullptr) return false;
        // Without a buffer there is no size to check. Documented: a buffer for a path states the
        // size of the record itself, 8 on x64, not that of the buffer.
        const bool wrongBuffer =
            detail == nullptr ? size != 0
                              : size < sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_W) ||
                                    detail->cbSize != sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_W);
        const bool wrongDevice = device != nullptr && device->cbSize != sizeof(SP_DEVINFO_DATA);
        if (wrongBuffer || wrongDevice) return FailWith(ERROR_INVALID_USER_BUFFER);
        if (!StillExists(found->devices[element->owner], *element)) {
          return FailWith(ERROR_NO_SUCH_DEVICE_INTERFACE);
        }
        Bytes data = DetailOf(element->path);
        SpoilLength(data, faults);
        if (!ReturnData(data, detail, size, required)) return false;
        if (device != nullptr) Describe(*found, element->owner, device);
        return true;
      });
}

}  // namespace vorn::platform

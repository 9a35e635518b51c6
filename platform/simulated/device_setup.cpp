// SetupAPI's device information lists: creating, enumerating and destroying them.

#include "platform/device_setup.h"

#include "base/text.h"
#include "platform/simulated/device_list.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/upper_case.h"

#include <algorithm>

namespace vorn::platform {

namespace simulated {

namespace {

struct ListRequest {
  const GUID* classGuid;
  const char16_t* enumerator;
  std::uint32_t flags;

  bool Wants(std::uint32_t flag) const { return (flags & flag) != 0; }
};

/// The interfaces of a device that a request covers. Documented: with DIGCF_PRESENT only interfaces
/// that the driver has enabled are listed.
bool IsWanted(const DeviceInterface& candidate, const Device& owner, const ListRequest& request) {
  if (!request.Wants(DIGCF_ALLCLASSES) && candidate.interfaceClass != *request.classGuid) {
    return false;
  }
  return !request.Wants(DIGCF_PRESENT) || (owner.present && candidate.enabled);
}

void AppendInterfaces(DeviceList& list, const Device& owner, const ListRequest& request) {
  std::optional<std::size_t> index;
  for (const DeviceInterface& candidate : owner.interfaces) {
    if (!IsWanted(candidate, owner, request)) continue;
    if (!index) index = list.Append(owner);
    list.interfaces.push_back(
        {candidate.interfaceClass, candidate.path, *index, owner.present && candidate.enabled});
  }
}

/// Whether a device matches the enumerator's text. Documented: SetupDiGetClassDevsW takes an
/// enumerator's name, or one device's instance id when interfaces are listed.
bool IsOfEnumerator(const Device& device, const ListRequest& request) {
  if (request.enumerator == nullptr) return true;
  return request.Wants(DIGCF_DEVICEINTERFACE) ? IsSameDevice(device.instanceId, request.enumerator)
                                              : IsSameName(device.enumerator, request.enumerator);
}

std::shared_ptr<DeviceList> TakeSnapshot(const Machine& machine, const ListRequest& request) {
  auto list = std::make_shared<DeviceList>();
  for (const Device& device : machine.devices.devices) {
    if (!IsOfEnumerator(device, request)) continue;
    if (request.Wants(DIGCF_DEVICEINTERFACE)) {
      AppendInterfaces(*list, device, request);
    } else if ((device.present || !request.Wants(DIGCF_PRESENT)) &&
               (request.Wants(DIGCF_ALLCLASSES) || device.classGuid == *request.classGuid)) {
      list->Append(device);
    }
  }
  return list;
}

HDEVINFO OpenList(std::shared_ptr<DeviceList> list) {
  return reinterpret_cast<HDEVINFO>(
      Process::Current().Add(ObjectKind::DeviceInfoList, std::move(list)));
}

}  // namespace

}  // namespace simulated

using namespace simulated;

HDEVINFO SetupDiGetClassDevsW(const GUID* classGuid, const char16_t* enumerator,
                              std::uint32_t flags) {
  HDEVINFO created = INVALID_DEVICE_INFO_LIST;
  auto result = SimulateCall<HDEVINFO>(
      "SetupDiGetClassDevsW", FailureStyle::LastError, INVALID_DEVICE_INFO_LIST,
      Arguments("ClassGuid", classGuid == nullptr ? GUID{} : *classGuid, "Enumerator", enumerator,
                "Flags", Hex{flags}),
      [&](const CallFaults&) {
        if (classGuid == nullptr && (flags & DIGCF_ALLCLASSES) == 0) {
          SetLastError(ERROR_INVALID_PARAMETER);
          return INVALID_DEVICE_INFO_LIST;
        }
        const Machine& machine = Process::Current().TheMachine();
        return created = OpenList(TakeSnapshot(machine, {classGuid, enumerator, flags}));
      });
  return KeepOnSuccess(ObjectKind::DeviceInfoList, result, created, INVALID_DEVICE_INFO_LIST);
}

HDEVINFO SetupDiCreateDeviceInfoList(const GUID* classGuid) {
  HDEVINFO created = INVALID_DEVICE_INFO_LIST;
  auto result = SimulateCall<HDEVINFO>(
      "SetupDiCreateDeviceInfoList", FailureStyle::LastError, INVALID_DEVICE_INFO_LIST,
      Arguments("ClassGuid", classGuid == nullptr ? GUID{} : *classGuid), [&](const CallFaults&) {
        auto list = std::make_shared<DeviceList>();
        if (classGuid != nullptr) list->classGuid = *classGuid;
        return created = OpenList(std::move(list));
      });
  return KeepOnSuccess(ObjectKind::DeviceInfoList, result, created, INVALID_DEVICE_INFO_LIST);
}

bool SetupDiDestroyDeviceInfoList(HDEVINFO list) {
  return SimulateBool("SetupDiDestroyDeviceInfoList", Arguments("DeviceInfoSet", list),
                      [&](const CallFaults&) {
                        return Process::Current().Remove(ObjectKind::DeviceInfoList,
                                                         reinterpret_cast<std::uintptr_t>(list)) ||
                               FailWith(ERROR_INVALID_HANDLE);
                      });
}

bool SetupDiEnumDeviceInfo(HDEVINFO list, std::uint32_t index, SP_DEVINFO_DATA* device) {
  return SimulateBool("SetupDiEnumDeviceInfo",
                      Arguments("DeviceInfoSet", list, "MemberIndex", index),
                      [&](const CallFaults&) {
                        const auto found = FindList(list);
                        if (found == nullptr) return false;
                        if (device == nullptr) return FailWith(ERROR_INVALID_PARAMETER);
                        if (device->cbSize != sizeof(SP_DEVINFO_DATA))
                          return FailWith(ERROR_INVALID_USER_BUFFER);
                        if (index >= found->devices.size()) return FailWith(ERROR_NO_MORE_ITEMS);
                        Describe(*found, index, device);
                        return true;
                      });
}

}  // namespace vorn::platform

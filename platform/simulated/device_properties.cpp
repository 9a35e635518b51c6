// What SetupAPI reports of a device in a list: its instance id, hardware ids and properties; and
// the name of a setup class.

#include "base/text.h"
#include "platform/device_setup.h"
#include "platform/simulated/device_list.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/registry_values.h"
#include "platform/simulated/returned_data.h"

#include <algorithm>
#include <cstring>

namespace vorn::platform {

namespace simulated {

namespace {

/// The registry value of the hardware ids; empty when there is none.
Bytes HardwareIdValue(const Device& device) {
  if (device.hardwareIdData) return *device.hardwareIdData;
  if (device.hardwareIds.empty()) return {};
  std::u16string strings;
  for (const std::u16string& id : device.hardwareIds) {
    strings += id;
    strings += u'\0';
  }
  return ToTerminatedBytes(strings);
}

/// The strings of a multi-string value. Nothing when the value is not one: its size is odd, it has
/// no string, or it lacks the two terminators. Documented: the two terminators are the caller's
/// duty when hardware ids are set. Assumed: hardware ids without them are refused. Question: does
/// SetupDiSetDeviceRegistryPropertyW store hardware ids without the second terminator?
std::optional<std::vector<std::u16string>> ParseMultiString(const void* data, std::uint32_t size) {
  if (data == nullptr || size % sizeof(char16_t) != 0) return std::nullopt;
  std::u16string text(size / sizeof(char16_t), u'\0');
  std::memcpy(text.data(), data, size);
  std::vector<std::u16string> strings;
  std::size_t start = 0;
  while (start < text.size()) {
    const std::size_t end = text.find(u'\0', start);
    if (end == std::u16string::npos) return std::nullopt;
    if (end == start) {
      const bool closesTheList = start + 1 == text.size() && !strings.empty();
      return closesTheList ? std::optional(strings) : std::nullopt;
    }
    strings.emplace_back(text.substr(start, end - start));
    start = end + 1;
  }
  return std::nullopt;
}

}  // namespace

}  // namespace simulated

using namespace simulated;

bool SetupDiGetDeviceInstanceIdW(HDEVINFO list, const SP_DEVINFO_DATA* device, char16_t* id,
                                 std::uint32_t size, std::uint32_t* required) {
  return SimulateBool("SetupDiGetDeviceInstanceIdW",
                      Arguments("DeviceInfoSet", list, "DeviceInfoData", DeviceArgument{device},
                                "DeviceInstanceIdSize", size),
                      [&](const CallFaults& faults) {
                        const auto found = FindList(list);
                        // Assumed: the list itself knows the id, even when the device is gone.
                        // Question: does SetupDiGetDeviceInstanceIdW succeed after the device was
                        // removed?
                        const DeviceElement* element =
                            found == nullptr ? nullptr : found->Find(device);
                        if (element == nullptr) return false;
                        std::u16string text = element->instanceId;
                        SpoilLength(text, faults);
                        return ReturnText(text, id, size, required);
                      });
}

bool SetupDiGetDeviceRegistryPropertyW(HDEVINFO list, const SP_DEVINFO_DATA* device,
                                       std::uint32_t property, std::uint32_t* type, void* buffer,
                                       std::uint32_t size, std::uint32_t* required) {
  return SimulateBool("SetupDiGetDeviceRegistryPropertyW",
                      Arguments("DeviceInfoSet", list, "DeviceInfoData", DeviceArgument{device},
                                "Property", property, "PropertyBufferSize", size),
                      [&](const CallFaults& faults) {
                        const auto found = FindList(list);
                        DeviceElement* element = found == nullptr ? nullptr : found->Find(device);
                        const Device* record =
                            element == nullptr ? nullptr : FindDeviceOf(*element);
                        if (record == nullptr) return false;
                        if (property != SPDRP_HARDWAREID)
                          return FailWith(ERROR_INVALID_REG_PROPERTY);
                        Bytes data = HardwareIdValue(*record);
                        if (data.empty() && !record->hardwareIdData)
                          return FailWith(ERROR_INVALID_DATA);
                        SpoilLength(data, faults);
                        if (type != nullptr) *type = REG_MULTI_SZ;
                        return ReturnData(data, buffer, size, required);
                      });
}

bool SetupDiSetDeviceRegistryPropertyW(HDEVINFO list, const SP_DEVINFO_DATA* device,
                                       std::uint32_t property, const void* buffer,
                                       std::uint32_t size) {
  return SimulateBool("SetupDiSetDeviceRegistryPropertyW",
                      Arguments("DeviceInfoSet", list, "DeviceInfoData", DeviceArgument{device},
                                "Property", property, "PropertyBufferSize", size),
                      [&](const CallFaults&) {
                        const auto found = FindList(list);
                        DeviceElement* element = found == nullptr ? nullptr : found->Find(device);
                        Device* record =
                            element == nullptr ? nullptr : FindDeviceToChange(*element);
                        if (record == nullptr) return false;
                        if (property != SPDRP_HARDWAREID)
                          return FailWith(ERROR_INVALID_REG_PROPERTY);
                        auto ids = ParseMultiString(buffer, size);
                        if (!ids) return FailWith(ERROR_INVALID_DATA);
                        record->hardwareIds = std::move(*ids);
                        record->hardwareIdData.reset();
                        return true;
                      });
}

bool SetupDiGetDevicePropertyW(HDEVINFO list, const SP_DEVINFO_DATA* device, const DEVPROPKEY* key,
                               std::uint32_t* type, void* buffer, std::uint32_t size,
                               std::uint32_t* required) {
  return SimulateBool(
      "SetupDiGetDevicePropertyW",
      Arguments("DeviceInfoSet", list, "DeviceInfoData", DeviceArgument{device}, "PropertyKeyFmtid",
                key == nullptr ? GUID{} : key->fmtid, "PropertyKeyPid",
                key == nullptr ? std::uint32_t{0} : key->pid, "PropertyBufferSize", size),
      [&](const CallFaults& faults) {
        const auto found = FindList(list);
        DeviceElement* element = found == nullptr ? nullptr : found->Find(device);
        const Device* record = element == nullptr ? nullptr : FindDeviceOf(*element);
        if (record == nullptr) return false;
        if (key == nullptr || type == nullptr || (buffer == nullptr && size != 0)) {
          return FailWith(ERROR_INVALID_PARAMETER);
        }
        const auto property =
            std::find_if(record->properties.begin(), record->properties.end(),
                         [key](const DeviceProperty& candidate) { return candidate.key == *key; });
        if (property == record->properties.end()) return FailWith(ERROR_NOT_FOUND);
        Bytes data = property->data;
        SpoilLength(data, faults);
        // Documented: the type of a property is returned with the size, even when the buffer is too
        // small.
        *type = property->type;
        return ReturnData(data, buffer, size, required);
      });
}

bool SetupDiClassNameFromGuidW(const GUID* classGuid, char16_t* name, std::uint32_t size,
                               std::uint32_t* required) {
  return SimulateBool(
      "SetupDiClassNameFromGuidW",
      Arguments("ClassGuid", classGuid == nullptr ? GUID{} : *classGuid, "ClassNameSize", size),
      [&](const CallFaults&) {
        if (classGuid == nullptr || (name == nullptr && size != 0)) {
          return FailWith(ERROR_INVALID_PARAMETER);
        }
        const auto& names = Process::Current().TheMachine().classNames;
        const auto found = names.find(ToUpperAscii(ToUtf16(RenderGuid(*classGuid))));
        if (found == names.end()) return FailWith(ERROR_INVALID_CLASS);
        return ReturnText(found->second, name, size, required);
      });
}

}  // namespace vorn::platform

#include "platform/simulated/device_list.h"

#include "platform/simulated/error_values.h"

#include <algorithm>

namespace vorn::platform::simulated {

DeviceElement* DeviceList::Find(const SP_DEVINFO_DATA* data) {
  // Assumed: a device record of another size is an invalid user buffer. Question: which error does
  // SetupDiGetDeviceInstanceIdW set for an SP_DEVINFO_DATA of another size?
  if (data == nullptr || data->cbSize != sizeof(SP_DEVINFO_DATA)) {
    SetLastError(data == nullptr ? ERROR_INVALID_PARAMETER : ERROR_INVALID_USER_BUFFER);
    return nullptr;
  }
  // The record says where the element was; it need not be true.
  const std::uint64_t place = data->Reserved;
  if (place > 0 && place <= devices.size() && devices[place - 1].node == data->DevInst) {
    return &devices[place - 1];
  }
  const auto found =
      std::find_if(devices.begin(), devices.end(),
                   [data](const DeviceElement& element) { return element.node == data->DevInst; });
  if (found == devices.end()) {
    // Assumed: an element of another list is an invalid parameter. Question: which error does
    // SetupDiGetDeviceInstanceIdW set for an element of another list?
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  return &*found;
}

std::size_t DeviceList::Append(const Device& device) {
  devices.push_back({Process::Current().nodes.NumberOf(device.instanceId), device.instanceId,
                     device.classGuid, device.installFlags, std::nullopt, nullptr});
  return devices.size() - 1;
}

std::shared_ptr<DeviceList> FindList(HDEVINFO list) {
  auto found = Process::Current().Find<DeviceList>(ObjectKind::DeviceInfoList,
                                                   reinterpret_cast<std::uintptr_t>(list));
  if (found == nullptr) SetLastError(ERROR_INVALID_HANDLE);
  return found;
}

const Device* FindDeviceOf(const DeviceElement& element) {
  if (element.unregistered) return &*element.unregistered;
  const DeviceTree& tree = Process::Current().TheMachine().devices;
  const Device* device = tree.Find(element.instanceId);
  if (device == nullptr) SetLastError(ERROR_NO_SUCH_DEVINST);
  return device;
}

Device* FindDeviceToChange(DeviceElement& element) {
  if (element.unregistered) return &*element.unregistered;
  Device* device = Process::Current().TheMachine().devices.Find(element.instanceId);
  if (device == nullptr) SetLastError(ERROR_NO_SUCH_DEVINST);
  return device;
}

void Describe(const DeviceList& list, std::size_t index, SP_DEVINFO_DATA* data) {
  data->ClassGuid = list.devices[index].classGuid;
  data->DevInst = list.devices[index].node;
  data->Reserved = index + 1;
}

template <>
std::string RenderArgument(const NodeArgument& value) {
  const std::u16string* name = Process::Current().nodes.NameOf(value.node);
  return name == nullptr ? RenderNumber(value.node) : RenderText(*name);
}

template <>
std::string RenderArgument(const DeviceArgument& value) {
  return value.data == nullptr ? "null" : RenderArgument(NodeArgument{value.data->DevInst});
}

}  // namespace vorn::platform::simulated

#include "tests/contract/own_device.h"

#include "platform/registry.h"
#include "tests/contract/contract.h"

namespace vorn::contract {

using namespace platform;

SP_DEVINFO_DATA NoDevice() {
  SP_DEVINFO_DATA device = {};
  device.cbSize = sizeof device;
  return device;
}

std::u16string HardwareId(HDEVINFO list, const SP_DEVINFO_DATA& device) {
  char16_t text[512] = {};
  std::uint32_t type = 0;
  std::uint32_t required = 0;
  if (!SetupDiGetDeviceRegistryPropertyW(list, &device, SPDRP_HARDWAREID, &type, text, sizeof text,
                                         &required)) {
    return {};
  }
  return text;
}

std::u16string InstanceId(HDEVINFO list, const SP_DEVINFO_DATA& device) {
  char16_t id[256] = {};
  CHECK(SetupDiGetDeviceInstanceIdW(list, &device, id, 256, nullptr));
  return id;
}

bool RemoveDevice(HDEVINFO list, const SP_DEVINFO_DATA& device) {
  SP_REMOVEDEVICE_PARAMS parameters = {
      {sizeof(SP_CLASSINSTALL_HEADER), DIF_REMOVE}, DI_REMOVEDEVICE_GLOBAL, 0};
  // Without parameters the removal is global as well, where they cannot be set.
  static_cast<void>(SetupDiSetClassInstallParamsW(list, &device, &parameters.ClassInstallHeader,
                                                  sizeof parameters));
  return SetupDiCallClassInstaller(DIF_REMOVE, list, &device);
}

namespace {

template <class Act>
int ForEachDevice(std::u16string_view hardwareId, Act act) {
  const DeviceList list(SetupDiGetClassDevsW(&kMediaClass, u"ROOT", 0));
  int count = 0;
  SP_DEVINFO_DATA device = NoDevice();
  for (std::uint32_t index = 0; SetupDiEnumDeviceInfo(list.Handle(), index, &device); ++index) {
    if (HardwareId(list.Handle(), device) != hardwareId) continue;
    ++count;
    act(list.Handle(), device);
  }
  return count;
}

}  // namespace

int CountOwnDevices(std::u16string_view hardwareId) {
  return ForEachDevice(hardwareId, [](HDEVINFO, const SP_DEVINFO_DATA&) {});
}

void RemoveOwnDevices(std::u16string_view hardwareId) {
  ForEachDevice(hardwareId, RemoveDevice);
}

OwnDevice::OwnDevice(const std::u16string& hardwareId)
    : list_(SetupDiCreateDeviceInfoList(&kMediaClass)) {
  const std::u16string ids = hardwareId + std::u16string(2, u'\0');
  NEED(list_.Handle() != INVALID_DEVICE_INFO_LIST);
  NEED(SetupDiCreateDeviceInfoW(list_.Handle(), u"MEDIA", &kMediaClass, u"VORN contract device",
                                DICD_GENERATE_ID, &device_));
  NEED(SetupDiSetDeviceRegistryPropertyW(list_.Handle(), &device_, SPDRP_HARDWAREID, ids.data(),
                                         static_cast<std::uint32_t>(ids.size() * 2)));
  NEED(SetupDiCallClassInstaller(DIF_REGISTERDEVICE, list_.Handle(), &device_));
  registered_ = true;
}

bool OwnDevice::Remove() {
  const bool removed = registered_ && RemoveDevice(list_.Handle(), device_);
  registered_ = false;
  return removed;
}

}  // namespace vorn::contract

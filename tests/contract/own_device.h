#pragma once

// Root devices of the suite's own, with the hardware id Root\VornContract and without a driver.

#include "platform/device_setup.h"

#include <string>
#include <string_view>

namespace vorn::contract {

inline constexpr char16_t kOwnHardwareId[] = u"Root\\VornContract";

/// The setup class MEDIA.
inline constexpr platform::GUID kMediaClass = {
    0x4d36e96c, 0xe325, 0x11ce, {0xbf, 0xc1, 0x08, 0x00, 0x2b, 0xe1, 0x03, 0x18}};

/// A device information list that closes itself.
class DeviceList {
 public:
  explicit DeviceList(platform::HDEVINFO list) : list_(list) {}
  DeviceList(const DeviceList&) = delete;
  DeviceList& operator=(const DeviceList&) = delete;
  ~DeviceList() {
    if (list_ != platform::INVALID_DEVICE_INFO_LIST) platform::SetupDiDestroyDeviceInfoList(list_);
  }
  platform::HDEVINFO Handle() const { return list_; }

 private:
  platform::HDEVINFO list_;
};

/// A record for a device that a call fills.
platform::SP_DEVINFO_DATA NoDevice();

/// The first hardware id of a device, or the empty text.
std::u16string HardwareId(platform::HDEVINFO list, const platform::SP_DEVINFO_DATA& device);

/// The instance id of a device; the case goes on without it, failed.
std::u16string InstanceId(platform::HDEVINFO list, const platform::SP_DEVINFO_DATA& device);

/// Removes a device by DIF_REMOVE.
bool RemoveDevice(platform::HDEVINFO list, const platform::SP_DEVINFO_DATA& device);

/// How many devices have that hardware id, present or not.
int CountOwnDevices(std::u16string_view hardwareId = kOwnHardwareId);

/// Removes those that a case left which ended before its time.
void RemoveOwnDevices(std::u16string_view hardwareId = kOwnHardwareId);

/// A registered root device, which is removed with its owner.
class OwnDevice {
 public:
  explicit OwnDevice(const std::u16string& hardwareId = kOwnHardwareId);
  ~OwnDevice() { Remove(); }
  OwnDevice(const OwnDevice&) = delete;
  OwnDevice& operator=(const OwnDevice&) = delete;
  /// Whether there was one and DIF_REMOVE removed it.
  bool Remove();
  platform::HDEVINFO List() const { return list_.Handle(); }
  const platform::SP_DEVINFO_DATA& Device() const { return device_; }

 private:
  DeviceList list_;
  platform::SP_DEVINFO_DATA device_ = NoDevice();
  bool registered_ = false;
};

}  // namespace vorn::contract

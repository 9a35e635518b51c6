#include "devnode/root_walk.h"

#include "devnode/device_reads.h"

namespace vorn {

platform::DeviceInfoList OpenRootDevices(RootScope scope) {
  const std::uint32_t presence = scope == RootScope::Present ? platform::DIGCF_PRESENT : 0;
  return platform::DeviceInfoList(
      platform::SetupDiGetClassDevsW(nullptr, u"ROOT", presence | platform::DIGCF_ALLCLASSES));
}

bool RootWalk::Next(platform::SP_DEVINFO_DATA& device) {
  do {
    device = {};
    device.cbSize = sizeof device;
    if (!platform::SetupDiEnumDeviceInfo(list_, index_, &device)) {
      endError_ = platform::GetLastError();
      return false;
    }
    ++index_;
  } while (!MatchesRootHardwareId(list_, device));
  return true;
}

}  // namespace vorn

#pragma once

// The walk over the root-enumerated devices that are this program's own: every list of them is made
// and gone through here.

#include "platform/device_setup.h"
#include "platform/owners.h"

#include <cstdint>

namespace vorn {

/// Which devices a list holds: those that are present, or also the absent ones.
enum class RootScope { Present, Installed };

/// A new list of the devices of the enumerator ROOT, whatever their class (SetupDiGetClassDevsW).
/// Empty owner on failure, with the last error of the call.
platform::DeviceInfoList OpenRootDevices(RootScope scope);

/// Goes through a list by rising index (SetupDiEnumDeviceInfo) and stops at each device whose
/// hardware ids match. The list must outlive the walk.
class RootWalk {
 public:
  explicit RootWalk(platform::HDEVINFO list) : list_(list) {}

  /// The next matching device of the list, or false when the enumeration has ended.
  bool Next(platform::SP_DEVINFO_DATA& device);

  /// Once Next returned false: whether the enumeration ended because there are no more devices
  /// (ERROR_NO_MORE_ITEMS), so that every device was seen.
  bool SawEveryDevice() const;

 private:
  platform::HDEVINFO list_;
  std::uint32_t index_ = 0;
  std::uint32_t endError_ = 0;
};

}  // namespace vorn

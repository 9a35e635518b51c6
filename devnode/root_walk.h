#pragma once

// Iteration over the root-enumerated devices that belong to the program. Every list of them is
// opened and walked here.

#include "platform/device_setup.h"
#include "platform/last_error.h"
#include "platform/owners.h"

#include <cstdint>

namespace vorn {

/// Installed devices include absent ones.
enum class RootScope { Present, Installed };

/// Opens a list of the enumerator ROOT's devices of all classes (SetupDiGetClassDevsW). Empty on
/// failure, with the last error of the call.
platform::DeviceInfoList OpenRootDevices(RootScope scope);

/// Walks a list in index order (SetupDiEnumDeviceInfo), stopping at each device with the program's
/// hardware id. The list must outlive the walk.
class RootWalk {
 public:
  explicit RootWalk(platform::HDEVINFO list) : list_(list) {}

  /// Stores the next matching device; false at the end of the enumeration.
  bool Next(platform::SP_DEVINFO_DATA& device);

  /// After Next returned false: whether the enumeration ended with ERROR_NO_MORE_ITEMS.
  bool SawEveryDevice() const { return endError_ == platform::ERROR_NO_MORE_ITEMS; }

 private:
  platform::HDEVINFO list_;
  std::uint32_t index_ = 0;
  std::uint32_t endError_ = 0;
};

}  // namespace vorn

#include "install/driver_binding.h"

#include "devnode/device_reads.h"
#include "platform/device_setup.h"

namespace vorn {

bool BindDriver(const std::u16string& infPath, bool& restartRequired) {
  restartRequired = false;
  return platform::UpdateDriverForPlugAndPlayDevicesW(
      kRootHardwareId, infPath.c_str(), platform::INSTALLFLAG_FORCE, &restartRequired);
}

}  // namespace vorn

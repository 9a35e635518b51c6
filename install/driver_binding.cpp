#include "install/driver_binding.h"

#include "platform/device_setup.h"
#include "product/product.h"

namespace vorn {

BindOutcome BindDriver(const std::u16string& infPath) {
  bool restartRequired = false;
  if (!platform::UpdateDriverForPlugAndPlayDevicesW(
          kRootHardwareId, infPath.c_str(), platform::INSTALLFLAG_FORCE, &restartRequired)) {
    return BindOutcome::Rejected;
  }
  return restartRequired ? BindOutcome::WaitsForRestart : BindOutcome::Bound;
}

}  // namespace vorn

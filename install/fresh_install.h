#pragma once

// Installation on a machine without a root device: creates the device, binds the package to it and
// proves the outcome. A device that the package could not be bound to is taken away again.

#include "install/install_request.h"
#include "package/driver_identity.h"
#include "report/exit_status.h"

namespace vorn {

/// Binds `target`, the package of the request. Returns the status of the install command.
ExitStatus InstallFreshRoot(const InstallRequest& request, DriverIdentity target);

}  // namespace vorn

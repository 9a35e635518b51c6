#pragma once

// Installs on a machine without a root device: creates the device, binds the package to it and
// proves the result. If the bind fails, the device is removed again.

#include "install/install_request.h"
#include "package/driver_identity.h"
#include "report/exit_status.h"

namespace vorn {

/// Binds `target`, the identity of the request's INF. Returns the exit status of the command.
ExitStatus InstallFreshRoot(const InstallRequest& request, DriverIdentity target);

}  // namespace vorn

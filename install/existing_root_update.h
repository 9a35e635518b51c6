#pragma once

// Update of the one root device that exists: journals what the user has, hides the endpoints while
// the driver changes, binds the package and proves the outcome. A switch that Windows defers to a
// restart is taken back.

#include "install/install_request.h"
#include "package/driver_identity.h"
#include "report/exit_status.h"

namespace vorn {

/// Binds `target`, the package of the request. Returns the status of the install command.
ExitStatus UpdateExistingRoot(const InstallRequest& request, DriverIdentity target);

}  // namespace vorn

#pragma once

// Updates the one existing root device: journals the user's endpoints, hides them while the driver
// changes, binds the package and proves the result. A switch that Windows defers to a restart is
// undone, unless it is a rollback.

#include "install/install_request.h"
#include "package/driver_identity.h"
#include "report/exit_status.h"

namespace vorn {

/// Binds `target`, the identity of the request's INF. Returns the exit status of the command.
ExitStatus UpdateExistingRoot(const InstallRequest& request, DriverIdentity target);

}  // namespace vorn

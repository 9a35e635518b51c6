#pragma once

// The `install` command: binds the package to the one root device, which it creates if there is
// none, and proves the result. The target and the user's endpoints are journalled before the bind,
// so that a failed candidate can be recognised and rolled back.

#include "install/install_request.h"
#include "report/exit_status.h"

namespace vorn {

/// Installs the package of the requested INF. A rollback accepts a disabled root and a switch that
/// waits for a restart. Returns kExitOk if the live system is proven to run the package, else the
/// status for the printed line.
ExitStatus Install(const InstallRequest& request);

}  // namespace vorn

#pragma once

// The install command: puts the package on the one root device, which it creates when there is
// none, and proves the outcome. The target and the endpoints that the user had are journalled
// before the device is touched, so that a failed candidate is recognised and rolled back.

#include "install/install_request.h"
#include "report/exit_status.h"

namespace vorn {

/// Installs the package of the requested INF. With `rollback` the caller goes back to a package
/// that has run before: a disabled root is accepted, and a switch that waits for a restart is a
/// success of its kind.
///
/// Returns 0 when the live system is proven to run the package, else the status that belongs to the
/// line that was printed.
ExitStatus Install(const InstallRequest& request);

}  // namespace vorn

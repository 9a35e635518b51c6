#pragma once

// Installation on a machine without a root device: creates the device, binds the package to it and
// proves the outcome. A device that the package could not be bound to is taken away again.

#include "install/install_request.h"
#include "journal/activation_state.h"
#include "report/exit_status.h"

namespace vorn {

/// `state` names the target; its baselines are empty. Returns the status of the install command.
ExitStatus InstallFreshRoot(const InstallRequest& request, ActivationState state);

}  // namespace vorn

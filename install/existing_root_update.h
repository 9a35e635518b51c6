#pragma once

// Update of the one root device that exists: journals what the user has, hides the endpoints while
// the driver changes, binds the package and proves the outcome. A switch that Windows defers to a
// restart is taken back.

#include "cli/exit_status.h"
#include "install/activation_state.h"
#include "install/install_request.h"

namespace vorn {

/// `state` names the target; the baselines are captured here. Returns the status of the install
/// command.
ExitStatus UpdateExistingRoot(const InstallRequest& request, ActivationState state);

}  // namespace vorn

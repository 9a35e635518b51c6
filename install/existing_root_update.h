#pragma once

// Update of the one root device that exists: journals what the user has, hides the endpoints while
// the driver changes, binds the package and proves the outcome. A switch that Windows defers to a
// restart is taken back.

#include "install/install_request.h"
#include "journal/activation_state.h"
#include "report/exit_status.h"

namespace vorn {

/// `state` names the target; the baselines are captured here. Returns the status of the install
/// command.
ExitStatus UpdateExistingRoot(const InstallRequest& request, ActivationState state);

}  // namespace vorn

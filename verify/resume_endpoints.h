#pragma once

// The manual recovery: every endpoint is shown, whoever hid it.

#include "report/exit_status.h"

namespace vorn {

/// The command `resume-endpoints`. Returns kExitNotStarted when there is no live root or its driver
/// cannot be reached, kExitHotSwapFailed without a lease, kExitEndpointsMissing when an endpoint
/// could not be shown, else kExitOk.
ExitStatus ResumeEndpoints();

}  // namespace vorn

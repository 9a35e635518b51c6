#pragma once

// Manual recovery: shows every endpoint, whoever hid it.

#include "report/exit_status.h"

namespace vorn {

/// `resume-endpoints`. Returns kExitOk, kExitNotStarted without a live root or a channel to its
/// driver, kExitHotSwapFailed without a lease, or kExitEndpointsMissing after a failed request.
ExitStatus ResumeEndpoints();

}  // namespace vorn

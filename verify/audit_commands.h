#pragma once

// Two commands that check the live system without a journal.

#include "privileged_input/input_file.h"
#include "report/exit_status.h"

namespace vorn {

/// `audit-catalog`: checks that the live root's catalog is complete and its active endpoints are
/// exactly the started AudioEndpoint children. Returns kExitOk, kExitEndpointsMissing, or
/// kExitNotStarted without a live root.
ExitStatus AuditCatalog();

/// `audit-current`: proves the live system against an INF as after a fresh install of it. Returns
/// RunLiveVerification's status, or kExitInputRefused if the INF's identity cannot be read.
ExitStatus AuditCurrent(const privileged_input::InputInf& inf);

}  // namespace vorn

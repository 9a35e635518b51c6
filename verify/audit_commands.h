#pragma once

// Two read-only commands that check the live system without a journal.

#include "privileged_input/input_file.h"
#include "report/exit_status.h"

namespace vorn {

/// `audit-catalog`: the catalog of the live root must be complete and its active endpoints exactly
/// the started AudioEndpoint children. Returns kExitOk, kExitEndpointsMissing, or kExitNotStarted
/// without a live root.
ExitStatus AuditCatalog();

/// `audit-current`: proves the live system against an INF, as if the device had been freshly
/// installed from it. Returns the engine's status, or kExitInputRefused without a line of its own
/// when the INF's DriverVer or content cannot be read.
ExitStatus AuditCurrent(const privileged_input::InputInf& inf);

}  // namespace vorn

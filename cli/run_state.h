#pragma once

// RunState: what one run of a command holds on to until it ends. There is no state outside of it,
// so that a second run in the same process starts from nothing.

#include "privileged_input/private_package.h"
#include "privileged_input/protected_files.h"
#include "report/removal_log.h"

namespace vorn::cli {

/// The members are released from the last to the first. The log's folders and the journal may lie
/// anywhere; the snapshot goes last, because what was opened from it must be closed before its
/// folders can vanish.
struct RunState {
  privileged_input::PackageSnapshot snapshot;
  privileged_input::ProtectedFiles protectedFiles;
  RemovalLog removalLog;
};

}  // namespace vorn::cli

#pragma once

// RunState: everything that one run of a command keeps until it ends. There is no global state, so
// a second run in the same process starts afresh.

#include "privileged_input/private_package.h"
#include "privileged_input/protected_files.h"
#include "report/removal_log.h"

namespace vorn::cli {

/// Members are released in reverse order. The snapshot is released last: its folders can only be
/// deleted once everything opened in them is closed.
struct RunState {
  privileged_input::PackageSnapshot snapshot;
  privileged_input::ProtectedFiles protectedFiles;
  RemovalLog removalLog;
};

}  // namespace vorn::cli

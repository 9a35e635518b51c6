#pragma once

// The package that was selected for the root before this run bound another one, and its
// re-selection when Windows defers the switch to a restart.

#include "devnode/root_discovery.h"
#include "install/driver_binding.h"

namespace vorn {

/// Binds the package again that `rootBefore`, as discovered before the bind, was bound to. What
/// came of it; Rejected also, after printing why, when there is nothing that may be bound.
///
/// It must provably be the program's: the name must be that of a published INF, the file must open
/// through verified handles in the Windows INF folder, and its DriverVer must be the version that
/// was bound, with the program's own service.
BindOutcome RestorePreviousSelection(const LiveRoot& rootBefore);

}  // namespace vorn

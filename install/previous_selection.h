#pragma once

// Re-selects the root's previous package when Windows defers the switch to a restart.

#include "devnode/root_discovery.h"
#include "install/driver_binding.h"

namespace vorn {

/// Binds the package of `rootBefore`, discovered before the bind, again. Its INF must be proven to
/// be the program's: it has the name of a published INF, opens through verified handles in the
/// Windows INF folder, and has the bound version and service. Otherwise, and if the bind fails,
/// prints why and returns Rejected.
BindOutcome RestorePreviousSelection(const LiveRoot& rootBefore);

}  // namespace vorn

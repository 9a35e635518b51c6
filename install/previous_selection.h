#pragma once

// The package that was selected for the root before this run bound another one, and its
// re-selection when Windows defers the switch to a restart.

#include "devnode/root_discovery.h"

namespace vorn {

/// Binds the package again that `rootBefore`, as discovered before the bind, was bound to. Returns
/// whether it is selected again, after printing why when it is not; `restartRequired` then tells
/// whether this switch, too, waits for a restart.
///
/// It must provably be the program's: the name must be that of a published INF, the file must open
/// through verified handles in the Windows INF folder, and its DriverVer must be the version that
/// was bound, with the program's own service.
bool RestorePreviousSelection(const LiveRoot& rootBefore, bool& restartRequired);

}  // namespace vorn

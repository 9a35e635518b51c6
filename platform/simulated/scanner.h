#pragma once

// A virus scanner, or an indexer, of the simulated machine: it opens each file that somebody has
// just written, and closes it after a while.

#include "platform/simulated/file_system.h"

namespace vorn::platform::simulated {

struct Machine;

/// Call this when a file has been written and closed; `place` is the name it was opened by. Does
/// nothing on a machine without a scanner, and for a file that is deleted or being deleted.
void ScanWritten(Machine& machine, NodeId file, const Place& place);

}  // namespace vorn::platform::simulated

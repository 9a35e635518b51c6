#pragma once

// Pruning: of several installed Root\VornAudio nodes the best live one is kept and every other one
// removed; then a new listing proves that only the kept one is present.

#include <cstdint>

namespace vorn {

struct PruneResult {
  bool ok = false;              // only the kept root is present; none if none was kept
  std::uint32_t remaining = 0;  // present matching roots after the pruning
  bool restartPending = false;  // a removal requires a machine restart
};

/// Prunes (DIF_REMOVE) and waits up to 30 s for removed nodes to disappear. Reports failed calls, a
/// deferred or unproven clean-up, and the number of removed nodes.
PruneResult PruneDuplicateRoots();

}  // namespace vorn

#pragma once

// Pruning: of several installed Root\VornAudio nodes the best live one stays, every other one is
// removed, and a new look proves that only the kept one is present.

#include <cstdint>

namespace vorn {

struct PruneResult {
  bool ok = false;              // exactly the kept root is present, or none when none was kept
  std::uint32_t remaining = 0;  // present matching roots after the pruning
  bool restartPending = false;  // a removal waits for a restart of the machine
};

/// Prunes; waits up to 30 s for removed nodes to go. Reports failed calls, a clean-up that is
/// deferred or unproven, and how many nodes were removed.
PruneResult PruneDuplicateRoots();

}  // namespace vorn

#pragma once

// Removal of every installed root, present or not, and the wait until none is left.

#include <cstdint>
#include <optional>

namespace vorn {

/// What became of the roots.
struct RootRemoval {
  bool sawEveryDevice = false;  // the listing ended as it should
  std::int32_t removed = 0;     // DIF_REMOVE succeeded
  bool failed = false;          // DIF_REMOVE could not be prepared or failed for some root
  bool rebootRequired = false;  // some removed root asks for a restart of the machine
};

/// Calls DIF_REMOVE on every installed root. Failed calls are reported and the next root follows.
/// Nothing, which is reported, when the roots could not be listed at all.
std::optional<RootRemoval> RemoveInstalledRoots();

/// Counts the installed roots until there are none, for at most 30 s; the last count, nothing when
/// they could not be counted.
std::optional<std::int32_t> WaitForZeroRoots();

}  // namespace vorn

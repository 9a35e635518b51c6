#pragma once

// Removes every installed root, present or not, and waits until none is left.

#include <cstdint>
#include <optional>

namespace vorn {

struct RootRemoval {
  bool sawEveryDevice = false;  // the listing was complete
  std::int32_t removed = 0;     // DIF_REMOVE succeeded
  bool failed = false;          // DIF_REMOVE failed for some root
  bool rebootRequired = false;  // some removed root requires a machine restart
};

/// Calls DIF_REMOVE on every installed root, also after failures, and reports failed calls. Nothing
/// if the list did not open.
std::optional<RootRemoval> RemoveInstalledRoots();

/// Counts the installed roots for up to 30 s until there are none. Returns the last count; nothing
/// if they could not be counted.
std::optional<std::int32_t> WaitForZeroRoots();

}  // namespace vorn

#pragma once

// The calls that a printed line takes. Printing never decides what a command does, so tests that
// disturb or count the other calls leave these out.

#include <string_view>

namespace vorn::tests {

/// Whether a call of that name writes a line or flushes it.
inline bool IsPrinting(std::string_view call) {
  return call == "fputws" || call == "fflush";
}

}  // namespace vorn::tests

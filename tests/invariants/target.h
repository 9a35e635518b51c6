#pragma once

// What a run was asked to activate, told from the machine before it: the package whose INF it was
// given, or the one that its journal names.

#include "tests/invariants/observation.h"

#include <string>
#include <string_view>

namespace vorn::tests {

/// The two words of an INF's DriverVer; empty when it has none.
struct DriverVerWords {
  std::u16string date;
  std::u16string version;
};
DriverVerWords DriverVerOf(const platform::simulated::Bytes& inf);

/// Whether a journal holds that text somewhere.
bool HoldsText(const platform::simulated::Bytes& journal, std::u16string_view text);

/// Whether the run was asked for the package whose INF has these bytes. An INF that another process
/// put in place during the run counts as given.
bool WasAskedFor(const Observation& run, const platform::simulated::Bytes& inf);

/// Whether the run knows the endpoints from before the bind. A journal of a fresh install has none,
/// and accepts whatever 20 endpoints there are.
bool KnowsFormerEndpoints(const Observation& run);

}  // namespace vorn::tests

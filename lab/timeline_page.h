#pragma once

// The page of a timeline: the picture, and in tables what it shows, for search and for readers who
// cannot see it. It needs no other file and runs no script.

#include "lab/run_history.h"

#include <span>
#include <string>

namespace vorn::lab {

/// The page of one run, or of two side by side.
std::string TimelinePage(std::span<const RunHistory> runs);

/// What changed from one moment to the next, a text for each thing: "20 endpoints: active, were
/// unplugged".
std::vector<std::string> ChangesBetween(const MachineGlance& before, const MachineGlance& after);

}  // namespace vorn::lab

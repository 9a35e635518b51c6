#pragma once

// A fault and its place: the name and number of the call, whether it repeats, and how it goes
// wrong. A failing run prints its text form, and `--replay` reads it:
//   NtCreateFile#12:fail=0xC0000022      the 12th NtCreateFile fails with that code
//   Sleep#3+:take=3000                   the 3rd Sleep and all after it take 3 s longer
// The kinds are fail, effect-then-fail, lie, short, long, restart, take, change, change-after,
// stale, kill-before, kill-after, hang; the last three may say what the operator does next:
// kill-after=rollback.

#include "tests/faults/failure_table.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::tests {

struct PlannedFault {
  std::string call;
  std::uint32_t nth = 1;
  bool persists = false;
  Way way;
  std::uint64_t site = 0;  // the call site, when known; not part of the text
};

std::string ToText(const PlannedFault& fault);

/// Parses the text form; throws std::invalid_argument, naming the text, when it is malformed.
PlannedFault ParsePlannedFault(std::string_view text);

/// "scenario|fault|fault", for the replay command.
std::string ReplayText(std::string_view scenario, const std::vector<PlannedFault>& faults);

/// The fault as the model takes it. Stale answers come from `past`, which is copied.
platform::simulated::Fault ToFault(const PlannedFault& fault,
                                   const platform::simulated::Machine& past);

}  // namespace vorn::tests

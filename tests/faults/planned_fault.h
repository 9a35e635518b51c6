#pragma once

// A fault at a place: which call of which name, once or from then on, and how. Its text form is
// what a failing run prints and what `--replay` reads:
//   NtCreateFile#12:fail=0xC0000022      the 12th NtCreateFile fails with that code
//   Sleep#3+:take=3000                   the 3rd Sleep and all after it take 3 s longer
// The kinds are fail, effect-then-fail, lie, short, long, restart, take, change, change-after,
// stale, kill-before, kill-after; the last two may say what the operator does next:
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
  std::uint64_t site = 0;  // from where the call is made, when that is known; no part of the text
};

std::string ToText(const PlannedFault& fault);

/// The fault of a text; throws std::invalid_argument, naming the text, when it is none.
PlannedFault ParsePlannedFault(std::string_view text);

/// "scenario|fault|fault", for the replay command.
std::string ReplayText(std::string_view scenario, const std::vector<PlannedFault>& faults);

/// As the model takes it; stale answers are those of `past`, which is copied.
platform::simulated::Fault ToFault(const PlannedFault& fault,
                                   const platform::simulated::Machine& past);

}  // namespace vorn::tests

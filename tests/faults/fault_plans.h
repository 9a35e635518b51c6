#pragma once

// Which runs there are: every call of a scenario with every way of going wrong, and how many of
// them a form of the harness takes.

#include "tests/faults/planned_fault.h"
#include "tests/faults/scenarios.h"
#include "tests/faults/undisturbed.h"

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace vorn::tests {

enum class Phase { Single, Lies, OtherProcesses, Crashes, DoubleCrashes, Pairs };

inline constexpr Phase kPhases[] = {Phase::Single,  Phase::Lies,          Phase::OtherProcesses,
                                    Phase::Crashes, Phase::DoubleCrashes, Phase::Pairs};

const char* NameOf(Phase phase);

/// One run: its faults at the same time; for a pair of crashes, the second is of the recovery.
using Plan = std::vector<PlannedFault>;

/// How many runs the phase has: every call, every way, once and, where that can be, from then on;
/// for crashes, before and after every call. Pairs are drawn, not listed; 0 for them.
std::uint64_t CountPossible(Phase phase, const Scenario& scenario, const Undisturbed& undisturbed);

/// Those of them that differ, in an order that does not change: without the repeated turns of waits
/// unless `withRepeats` says so, and of crashes one before and one after each change of the world,
/// with each thing that an operator may do next.
std::vector<Plan> AllPlans(Phase phase, const Scenario& scenario, const Undisturbed& undisturbed,
                           bool withRepeats = false);

/// `count` pairs of faults, drawn with that seed; for DoubleCrashes a crash and
/// another one when the command is run again.
std::vector<Plan> DrawPairs(Phase phase, const Scenario& scenario, const Undisturbed& undisturbed,
                            std::size_t count, std::uint64_t seed);

/// Every pair of calls, each failing once; the errors of a call take turns.
std::vector<Plan> EveryPairOfCalls(const Undisturbed& undisturbed);

/// What a sample has taken already: from where a call was made, and how it failed.
using SeenWays = std::set<std::uint64_t>;

/// Every plan whose place in the program and way are not in `seen` yet, and `cap` of the others,
/// spread evenly, the same ones each time. Without `seen` only the latter.
std::vector<Plan> Sample(const std::vector<Plan>& plans, std::size_t cap, std::uint64_t seed,
                         SeenWays* seen);

/// A number for a text, the same on every machine.
std::uint64_t SeedOf(std::string_view text);

}  // namespace vorn::tests

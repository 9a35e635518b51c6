#pragma once

// The possible runs: every call of a scenario with every way of going wrong; and which of them the
// harness takes.

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

/// The faults of one run. In a pair of crashes the second one hits the recovery.
using Plan = std::vector<PlannedFault>;

/// The number of runs in the phase: every call in every way, once and, where possible, from that
/// call on; for crashes, before and after every call. 0 for pairs, which are drawn and not listed.
std::uint64_t CountPossible(Phase phase, const Scenario& scenario, const Undisturbed& undisturbed);

/// The distinct ones of them, in a fixed order. Repeated turns of waits are left out unless
/// `withRepeats` is set. Of the crashes there is one before and one after each change to the
/// machine, combined with each next act of the operator.
std::vector<Plan> AllPlans(Phase phase, const Scenario& scenario, const Undisturbed& undisturbed,
                           bool withRepeats = false);

/// `count` pairs of faults, drawn with that seed; for DoubleCrashes a crash of the command and a
/// crash when it is run again.
std::vector<Plan> DrawPairs(Phase phase, const Scenario& scenario, const Undisturbed& undisturbed,
                            std::size_t count, std::uint64_t seed);

/// Every pair of calls, each failing once, with the errors of a call taken in turn.
std::vector<Plan> EveryPairOfCalls(const Undisturbed& undisturbed);

/// What a sample already holds: the call site and the way of failing.
using SeenWays = std::set<std::uint64_t>;

/// Every plan whose call site and way are not yet in `seen`, and `cap` of the others, evenly spread
/// and the same each time. Without `seen` only the latter.
std::vector<Plan> Sample(const std::vector<Plan>& plans, std::size_t cap, std::uint64_t seed,
                         SeenWays* seen);

/// A hash of a text that is the same on every machine.
std::uint64_t SeedOf(std::string_view text);

}  // namespace vorn::tests

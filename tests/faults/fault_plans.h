#pragma once

// Which runs there are: every call of a scenario with every way of going wrong, and how many of
// them a form of the harness takes.

#include "tests/faults/planned_fault.h"
#include "tests/faults/scenarios.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace vorn::tests {

/// How often the scenario makes each call when nothing goes wrong.
using CallCounts = std::map<std::string, std::uint32_t, std::less<>>;

enum class Phase { Single, Lies, OtherProcesses, Crashes, DoubleCrashes, Pairs };

inline constexpr Phase kPhases[] = {Phase::Single,  Phase::Lies,          Phase::OtherProcesses,
                                    Phase::Crashes, Phase::DoubleCrashes, Phase::Pairs};

const char* NameOf(Phase phase);

/// One run: its faults at the same time; for a pair of crashes, the second is of the recovery.
using Plan = std::vector<PlannedFault>;

/// Every run of the phase for a scenario that makes these calls, in an order that does not change.
/// Pairs are drawn, not listed; this gives none for them and for double crashes.
std::vector<Plan> AllPlans(Phase phase, const Scenario& scenario, const CallCounts& counts);

/// `count` pairs of faults, drawn with that seed; for DoubleCrashes a crash and
/// another one when the command is run again.
std::vector<Plan> DrawPairs(Phase phase, const Scenario& scenario, const CallCounts& counts,
                            std::size_t count, std::uint64_t seed);

/// Every pair of calls, each failing once with the first error that its documentation names.
std::vector<Plan> EveryPairOfCalls(const CallCounts& counts);

/// At most `cap` of the plans: half of them among the first calls of each name, the rest spread
/// evenly; the same ones each time. 0 takes all.
std::vector<Plan> Sample(std::vector<Plan> plans, std::size_t cap, std::uint64_t seed);

/// A number for a text, the same on every machine.
std::uint64_t SeedOf(std::string_view text);

}  // namespace vorn::tests

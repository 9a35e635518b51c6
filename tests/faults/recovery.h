#pragma once

// What an operator does after a crash, and the state that the machine must reach by it.

#include "tests/faults/scenarios.h"
#include "tests/invariants/observation.h"

#include <string>
#include <vector>

namespace vorn::tests {

/// A sound state of a machine by name: "target runs", "previous runs", "no device", "disabled",
/// "restart pending", "as before"; empty when it is none of them.
std::string NameSoundState(const Scenario& scenario, const platform::simulated::Machine& machine);

/// After a crash of the scenario's command: shows hidden endpoints, runs the command again, and
/// does what its refusals ask for, until the machine is in a sound state. `secondFaults` go wrong
/// in the first repetition. Returns what was wrong on the way; empty when all is sound.
Violations Recover(const Scenario& scenario, platform::simulated::Machine& machine,
                   const std::vector<platform::simulated::Fault>& secondFaults,
                   int undisturbedStatus);

}  // namespace vorn::tests

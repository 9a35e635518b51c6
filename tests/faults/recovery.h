#pragma once

// What an operator does after a crash, and the sound state that the machine must then reach.

#include "tests/faults/scenarios.h"
#include "tests/invariants/observation.h"

#include <string>
#include <vector>

namespace vorn::tests {

/// The name of the sound state that the machine is in: "target runs", "previous runs", "no device",
/// "disabled", "restart pending", "as before"; empty when it is in none.
std::string NameSoundState(const Scenario& scenario, const platform::simulated::Machine& machine);

/// A crash of the scenario's command and what follows it.
struct Aftermath {
  std::vector<platform::simulated::Fault> secondFaults;  // hit the first repetition
  std::string nextAct;  // "again", "resume" or "rollback"; empty means "resume"
  int undisturbedStatus = 0;
};

/// Performs the operator's next act (the command again, resume-endpoints and then the command, or a
/// rollback install) and then whatever a refusal asks for, until the machine is in a sound state.
/// Returns what went wrong on the way; empty when nothing did.
Violations Recover(const Scenario& scenario, platform::simulated::Machine& machine,
                   const Aftermath& aftermath);

}  // namespace vorn::tests

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

/// What happens after a crash of the scenario's command.
struct Aftermath {
  std::vector<platform::simulated::Fault> secondFaults;  // go wrong in the first repetition
  std::string nextAct;  // "again", "resume" or "rollback"; "resume" when it is empty
  int undisturbedStatus = 0;
};

/// The operator's next act after the crash (the command again, resume-endpoints and then the
/// command, or a rollback install), and then what refusals ask for, until the machine is in a sound
/// state. Returns what was wrong on the way; empty when all is sound.
Violations Recover(const Scenario& scenario, platform::simulated::Machine& machine,
                   const Aftermath& aftermath);

}  // namespace vorn::tests

#pragma once

// Runs a command with its planned faults and judges the run.

#include "tests/faults/fault_plans.h"
#include "tests/invariants/checkers.h"

#include <string>

namespace vorn::tests {

/// Makes one planned run and returns what the checkers found. `log` keeps the call log, which the
/// checker of opens by path needs; a violation found without a log is judged again with one. A
/// crash is followed by the operator's next act.
Violations RunPlan(const Scenario& scenario, const Plan& plan, bool log);

/// Repeats the run and prints everything that it writes and leaves to standard output. Returns the
/// number of violations.
int Replay(const std::string& replayText);

}  // namespace vorn::tests

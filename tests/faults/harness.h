#pragma once

// Runs a command with its faults and has it judged.

#include "tests/faults/fault_plans.h"
#include "tests/invariants/checkers.h"

#include <string>

namespace vorn::tests {

/// One run as planned, and what every checker says; `log` keeps the call log, which the checker of
/// opens by path needs. What is found without a log is judged again with one. A crash is followed
/// by what an operator does next.
Violations RunPlan(const Scenario& scenario, const Plan& plan, bool log);

/// The run again, with everything that it says and leaves printed to standard output. Returns the
/// number of violations.
int Replay(const std::string& replayText);

}  // namespace vorn::tests

#pragma once

// One run of a command, judged by the checkers of every promise of the program, so that a test need
// state only what is special about its case.

#include "platform/simulated/machine.h"
#include "tests/invariants/observation.h"
#include "tests/support/run_command.h"

#include <string>
#include <vector>

namespace vorn::tests {

/// Runs the command as RunCommand does. A promise that the run breaks fails the test: the final
/// line, its stream and its status belong together, the journal at its default place is there or
/// gone as the status says, nothing is left open, nothing foreign changed, and so on.
RunResult RunJudged(platform::simulated::Machine& machine, Command command,
                    const std::vector<std::u16string>& arguments, const RunOptions& options = {});

}  // namespace vorn::tests

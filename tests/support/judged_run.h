#pragma once

// One run of a command, judged by every checker, so that a test states only what is special about
// its case.

#include "platform/simulated/machine.h"
#include "tests/invariants/observation.h"
#include "tests/support/run_command.h"

#include <string>
#include <vector>

namespace vorn::tests {

/// Runs the command as RunCommand does. A broken promise fails the test: the final line, its stream
/// and the status belong together, the journal at its default path exists or not as the status
/// says, nothing is left open, nothing foreign changed, and so on.
RunResult RunJudged(platform::simulated::Machine& machine, Command command,
                    const std::vector<std::u16string>& arguments, const RunOptions& options = {});

/// What holds for every run that was not killed, also where RunJudged does not apply because the
/// package is not the sample: nothing foreign changed, no private snapshot was left, and the
/// program holds no file open.
void ExpectTidy(const platform::simulated::Machine& before,
                const platform::simulated::Machine& after);

}  // namespace vorn::tests

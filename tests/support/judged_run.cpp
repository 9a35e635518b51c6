#include "tests/support/judged_run.h"

#include "tests/invariants/checkers.h"

#include <gtest/gtest.h>

namespace vorn::tests {

using platform::simulated::Machine;

RunResult RunJudged(Machine& machine, Command command, const std::vector<std::u16string>& arguments,
                    const RunOptions& options) {
  const Machine before = machine;
  RunResult run = RunCommand(machine, arguments, options);
  EXPECT_EQ(Judge({command, before, machine, run, options.faults}), Violations{});
  return run;
}

}  // namespace vorn::tests

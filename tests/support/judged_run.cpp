#include "tests/support/judged_run.h"

#include "platform/simulated/neighbours.h"
#include "tests/invariants/checkers.h"
#include "tests/support/machine_view.h"

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

void ExpectTidy(const Machine& before, const Machine& after) {
  EXPECT_EQ(DescribeForeignParts(before), DescribeForeignParts(after));
  EXPECT_EQ(SnapshotFolders(after), SnapshotFolders(before));
  EXPECT_EQ(CountOwnOpens(after.files), 0U);
}

}  // namespace vorn::tests

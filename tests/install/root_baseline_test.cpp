// What the install command needs to know of a root device before it changes anything.

#include "tests/install/install_run.h"
#include "tests/support/machine_view.h"

#include <gtest/gtest.h>

namespace vorn {
namespace {

using platform::simulated::Machine;
using platform::simulated::OutdatedMachine;
using tests::Err;
using tests::ExpectRun;
using tests::FailingCall;
using tests::RunResult;

TEST(RootBaseline, NeedsTheInstanceIdOfTheRoot) {
  Machine machine = OutdatedMachine();
  // Pruning and its proof read the id first, each by a question for its size and a read.
  const RunResult run =
      tests::Install(machine, {.faults = {FailingCall("SetupDiGetDeviceInstanceIdW", 13, 5)}});
  ExpectRun(run, kExitNotStarted,
            {Err("vorn_devnode: existing root baseline is missing or ambiguous: present VORN root "
                 "has no device instance id")});
  EXPECT_FALSE(run.Called("UpdateDriverForPlugAndPlayDevicesW"));
  EXPECT_FALSE(run.Called("DeviceIoControl"));
  EXPECT_FALSE(tests::HasFile(machine, tests::kSampleJournal));
}

}  // namespace
}  // namespace vorn

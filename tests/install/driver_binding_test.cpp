#include "install/driver_binding.h"

#include "platform/last_error.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/process.h"
#include "tests/support/machine_view.h"
#include "tests/support/planned_faults.h"
#include "tests/support/sample.h"

#include <gtest/gtest.h>

namespace vorn {
namespace {

using platform::simulated::Machine;
using platform::simulated::OutdatedMachine;
using platform::simulated::Process;
using tests::kSampleInf;

TEST(DriverBinding, ForcesThePackageOnEveryDeviceWithTheHardwareId) {
  Machine machine = OutdatedMachine();
  Process process(machine);
  process.logCalls = true;
  EXPECT_EQ(BindDriver(kSampleInf), BindOutcome::Bound);
  const auto binds = tests::CallsOf(process, "UpdateDriverForPlugAndPlayDevicesW");
  ASSERT_EQ(binds.size(), 1U);
  EXPECT_EQ(binds[0].Argument("HardwareId"), "Root\\VornAudio");
  EXPECT_EQ(binds[0].Argument("FullInfPath"), "C:\\pkg\\driver\\vorn_audio.inf");
  EXPECT_EQ(binds[0].Argument("InstallFlags"), "0x1");
}

TEST(DriverBinding, ReportsThatWindowsNeedsARestart) {
  Machine machine = OutdatedMachine();
  machine.store.updateNeedsRestart = true;
  Process process(machine);
  EXPECT_EQ(BindDriver(kSampleInf), BindOutcome::WaitsForRestart);
}

TEST(DriverBinding, LeavesTheReasonOfARejectionInTheLastError) {
  Machine machine = OutdatedMachine();
  Process process(machine);
  process.faults = {tests::FailingCall("UpdateDriverForPlugAndPlayDevicesW", 0xE0000203)};
  EXPECT_EQ(BindDriver(kSampleInf), BindOutcome::Rejected);
  EXPECT_EQ(platform::GetLastError(), 0xE0000203U);
}

TEST(DriverBinding, TakesNoErrorForARestartThatIsNeeded) {
  for (const std::uint32_t error : {0U, 2U, 5U, 259U, 1641U, 3010U, 3011U, 0xE000020BU}) {
    Machine machine = OutdatedMachine();
    Process process(machine);
    process.faults = {tests::FailingCall("UpdateDriverForPlugAndPlayDevicesW", error)};
    EXPECT_EQ(BindDriver(kSampleInf), BindOutcome::Rejected) << error;
  }
}

TEST(DriverBinding, IsRejectedByTheResultWhateverIsSaidOfARestart) {
  Machine machine = OutdatedMachine();
  machine.store.updateNeedsRestart = true;
  Process process(machine);
  process.faults = {tests::FailingAfterEffect("UpdateDriverForPlugAndPlayDevicesW", 31)};
  EXPECT_EQ(BindDriver(kSampleInf), BindOutcome::Rejected);
}

TEST(DriverBinding, NeedsNoRestartUnlessWindowsSaysSo) {
  Machine machine = OutdatedMachine();
  Process process(machine);
  process.faults = {tests::LyingCall("UpdateDriverForPlugAndPlayDevicesW")};
  EXPECT_EQ(BindDriver(kSampleInf), BindOutcome::Bound);
}

}  // namespace
}  // namespace vorn

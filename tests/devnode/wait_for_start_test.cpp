// How the program waits for its root to start.

#include "devnode/root_discovery.h"
#include "platform/config_manager.h"
#include "platform/simulated/config_manager_values.h"
#include "tests/support/device_world.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vorn {
namespace {

using platform::simulated::Device;
using platform::simulated::Fault;
using platform::simulated::Machine;
using tests::FailingCall;
using tests::kOtherRootId;
using tests::kRootId;

class WaitForStart : public tests::DeviceWorld {};

/// The root starts right before the program looks for the nth time.
Fault StartsBeforeLook(std::uint32_t nth) {
  return tests::ChangeBefore("SetupDiGetClassDevsW", nth, [](Machine& changed) {
    Device* root = changed.devices.Find(kRootId);
    root->status = platform::DN_STARTED;
    root->problem = 0;
  });
}

TEST_F(WaitForStart, LooksOnceWithATimeoutOfZero) {
  tests::AddStoppedRoot(machine, kRootId, platform::CM_PROB_DISABLED);
  const StartWait wait = WaitForStartedRoot(0);
  EXPECT_FALSE(wait.started);
  EXPECT_EQ(wait.problem, 22U);
  EXPECT_EQ(CountOf("SetupDiGetClassDevsW"), 1U);
  EXPECT_EQ(CountOf("Sleep"), 0U);
}

TEST_F(WaitForStart, DoesNotWalkAListThatCouldNotBeMade) {
  tests::AddStartedRoot(machine);
  process.faults = {FailingCall("SetupDiGetClassDevsW", 5)};
  EXPECT_FALSE(WaitForStartedRoot(0).started);
  EXPECT_EQ(CountOf("SetupDiEnumDeviceInfo"), 0U);
}

TEST_F(WaitForStart, WalksTheListOnceAndAsksNothingOfARootThatIsNotThere) {
  EXPECT_FALSE(WaitForStartedRoot(0).started);
  EXPECT_EQ(CountOf("SetupDiEnumDeviceInfo"), 1U);
  EXPECT_EQ(CountOf("CM_Get_DevNode_Status"), 0U);
}

TEST_F(WaitForStart, SeesAStartedRootAtOnce) {
  tests::AddStartedRoot(machine);
  const StartWait wait = WaitForStartedRoot(0);
  EXPECT_TRUE(wait.started);
  EXPECT_EQ(wait.problem, 0U);
  EXPECT_EQ(Waited(), 0U);
}

TEST_F(WaitForStart, LooksEveryHalfSecondUntilTheRootStarts) {
  tests::AddStoppedRoot(machine, kRootId, 10);
  process.faults = {StartsBeforeLook(4)};
  const StartWait wait = WaitForStartedRoot(20'000);
  EXPECT_TRUE(wait.started);
  EXPECT_EQ(wait.problem, 10U) << "the last one seen";
  EXPECT_EQ(Waited(), 1500U);
  for (const auto& sleep : tests::CallsOf(process, "Sleep")) {
    EXPECT_EQ(sleep.Argument("milliseconds"), "500");
  }
}

TEST_F(WaitForStart, GivesUpAtTheDeadlineWithTheLastProblem) {
  tests::AddStoppedRoot(machine, kRootId, 28);
  process.faults = {tests::ChangeBefore("SetupDiGetClassDevsW", 3, [](Machine& changed) {
    changed.devices.Find(kRootId)->problem = 10;
  })};
  const StartWait wait = WaitForStartedRoot(20'000);
  EXPECT_FALSE(wait.started);
  EXPECT_EQ(wait.problem, 10U);
  EXPECT_EQ(Waited(), 20'000U);
  EXPECT_EQ(CountOf("SetupDiGetClassDevsW"), 41U);
}

TEST_F(WaitForStart, ForgetsTheProblemOfARootThatIsStoppedWithoutOne) {
  tests::AddStoppedRoot(machine, kRootId, 28);
  process.faults = {tests::ChangeBefore("SetupDiGetClassDevsW", 2, [](Machine& changed) {
    changed.devices.Find(kRootId)->problem = 0;
  })};
  const StartWait wait = WaitForStartedRoot(500);
  EXPECT_FALSE(wait.started);
  EXPECT_EQ(wait.problem, 0U);
}

TEST_F(WaitForStart, KeepsTheLastProblemWhenTheRootVanishes) {
  tests::AddStoppedRoot(machine, kRootId, 24);
  process.faults = {tests::ChangeBefore("SetupDiGetClassDevsW", 2,
                                        [](Machine& changed) { changed.devices.devices.clear(); })};
  const StartWait wait = WaitForStartedRoot(1000);
  EXPECT_FALSE(wait.started);
  EXPECT_EQ(wait.problem, 24U);
}

TEST_F(WaitForStart, ReportsNoProblemWithoutARoot) {
  tests::AddStartedRoot(machine, u"ROOT\\AAA\\0000").hardwareIds = {u"Root\\Other"};
  const StartWait wait = WaitForStartedRoot(1200);
  EXPECT_FALSE(wait.started);
  EXPECT_EQ(wait.problem, 0U);
  EXPECT_EQ(Waited(), 1500U);
}

TEST_F(WaitForStart, LooksAtTheFirstRootOnly) {
  tests::AddStoppedRoot(machine, kRootId, 10);
  tests::AddStartedRoot(machine, kOtherRootId);
  const StartWait wait = WaitForStartedRoot(0);
  EXPECT_FALSE(wait.started);
  EXPECT_EQ(wait.problem, 10U);
}

TEST_F(WaitForStart, LooksAgainAfterAListOrAStatusFails) {
  tests::AddStartedRoot(machine);
  process.faults = {FailingCall("SetupDiGetClassDevsW", 5),
                    FailingCall("CM_Get_DevNode_Status", platform::CR_FAILURE)};
  const StartWait wait = WaitForStartedRoot(20'000);
  EXPECT_TRUE(wait.started);
  EXPECT_EQ(Waited(), 1000U);
  EXPECT_EQ(wait.problem, 0U);
}

TEST_F(WaitForStart, LooksFreesTheListReadsTheTimeAndSleeps) {
  tests::AddStoppedRoot(machine, kRootId, 10);
  WaitForStartedRoot(500);
  EXPECT_EQ(tests::CallNames(process),
            (std::vector<std::string>{
                "GetTickCount64", "SetupDiGetClassDevsW", "SetupDiEnumDeviceInfo",
                "SetupDiGetDeviceRegistryPropertyW", "CM_Get_DevNode_Status",
                "SetupDiDestroyDeviceInfoList", "GetTickCount64", "Sleep", "SetupDiGetClassDevsW",
                "SetupDiEnumDeviceInfo", "SetupDiGetDeviceRegistryPropertyW",
                "CM_Get_DevNode_Status", "SetupDiDestroyDeviceInfoList", "GetTickCount64"}));
}

TEST_F(WaitForStart, IncludesTheFirstLookInTheTimeout) {
  tests::AddStoppedRoot(machine, kRootId, 10);
  process.faults = {tests::SlowCall("CM_Get_DevNode_Status", 500)};
  EXPECT_FALSE(WaitForStartedRoot(500).started);
  EXPECT_EQ(CountOf("Sleep"), 0U);
}

TEST_F(WaitForStart, LooksOnceMoreAfterASleepPastTheDeadline) {
  tests::AddStoppedRoot(machine, kRootId, 10);
  process.faults = {StartsBeforeLook(2)};
  EXPECT_TRUE(WaitForStartedRoot(1).started);
  EXPECT_EQ(Waited(), 500U);
}

TEST_F(WaitForStart, AcceptsAStartedRootThatIsFoundPastTheDeadline) {
  tests::AddStartedRoot(machine);
  process.faults = {tests::SlowCall("CM_Get_DevNode_Status", 30'000)};
  EXPECT_TRUE(WaitForStartedRoot(500).started);
}

TEST_F(WaitForStart, NeedsBothTheStartAndNoProblem) {
  struct Row {
    std::uint32_t status;
    std::uint32_t problem;
  };
  Device& root = tests::AddStartedRoot(machine);
  for (const Row& row : {Row{platform::DN_STARTED, 14}, Row{0, 0}, Row{0, 10}}) {
    root.status = row.status;
    root.problem = row.problem;
    const StartWait wait = WaitForStartedRoot(0);
    EXPECT_FALSE(wait.started) << row.status << " " << row.problem;
    EXPECT_EQ(wait.problem, row.problem) << row.status;
  }
}

TEST_F(WaitForStart, PassesOverAGhost) {
  tests::AddGhostRoot(machine, kRootId);
  tests::AddStartedRoot(machine, kOtherRootId);
  EXPECT_TRUE(WaitForStartedRoot(0).started);
}

TEST_F(WaitForStart, KeepsTheLastProblemWhenTheStatusCannotBeRead) {
  tests::AddStoppedRoot(machine, kRootId, 24);
  process.faults = {FailingCall("CM_Get_DevNode_Status", platform::CR_FAILURE, 2)};
  EXPECT_EQ(WaitForStartedRoot(500).problem, 24U);
}

TEST_F(WaitForStart, WaitsJustAsLongWhereTheTickExceeds32Or63Bits) {
  for (const std::uint64_t tick : tests::kTicksBeforeAnOverflow) {
    machine = {};
    machine.clock.tick = tick;
    tests::AddStoppedRoot(machine, kRootId, 10);
    process.calls.clear();
    EXPECT_FALSE(WaitForStartedRoot(20'000).started) << tick;
    EXPECT_EQ(machine.clock.tick - tick, 20'000U) << tick;
    EXPECT_EQ(CountOf("SetupDiGetClassDevsW"), 41U) << tick;
  }
}

}  // namespace
}  // namespace vorn

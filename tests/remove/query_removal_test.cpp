#include "remove/query_removal.h"

#include "platform/config_manager.h"
#include "platform/simulated/config_manager_values.h"
#include "report/removal_log.h"
#include "tests/support/console_calls.h"
#include "tests/support/device_world.h"
#include "tests/support/each_call.h"

#include <algorithm>
#include <string>
#include <vector>

namespace vorn {
namespace {

using platform::simulated::Device;
using platform::simulated::FaultKind;
using platform::simulated::Machine;
using platform::simulated::Process;
using tests::FailingCall;
using tests::kRootId;
using tests::WithEachCallGoingWrong;

constexpr std::uint32_t kVetoBudgetMs = 10'000;

/// The log has no file, so that each log line is one line on standard error.
class QueryRemove : public tests::DeviceWorld {
 protected:
  bool Run(std::uint32_t budgetMs = kVetoBudgetMs) {
    return QueryRemoveWithRetries(kRootId, budgetMs, log);
  }

  const RemovalLog log{};
};

TEST_F(QueryRemove, SucceedsAtOnceWhenNobodyHoldsTheDevice) {
  tests::AddStartedRoot(machine);
  EXPECT_TRUE(Run());
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: query-remove succeeded on attempt 1 after 0 ms\n");
  EXPECT_EQ(process.Output(), u"");
  EXPECT_EQ(CountOf("Sleep"), 0U);
}

TEST_F(QueryRemove, AsksForNoDialogAndNoRestart) {
  tests::AddStartedRoot(machine);
  Run();
  EXPECT_EQ(tests::CallsOf(process, "CM_Locate_DevNodeW")[0].Argument("ulFlags"), "0x0");
  const auto calls = tests::CallsOf(process, "CM_Query_And_Remove_SubTreeW");
  ASSERT_EQ(calls.size(), 1U);
  EXPECT_EQ(calls[0].Argument("ulNameLength"), "260");
  EXPECT_EQ(calls[0].Argument("ulFlags"), "0x3");
}

TEST_F(QueryRemove, GoesAheadWithoutANode) {
  tests::AddGhostRoot(machine, kRootId);
  EXPECT_TRUE(Run());
  EXPECT_TRUE(QueryRemoveWithRetries(u"no instance id", kVetoBudgetMs, log));
  EXPECT_TRUE(process.console.empty());
  EXPECT_EQ(CountOf("CM_Query_And_Remove_SubTreeW"), 0U);
}

TEST_F(QueryRemove, GoesAheadWithoutANodeThatWasLocatedWithAnError) {
  tests::AddStartedRoot(machine).temper.vetoUntil = machine.clock.tick + 60'000;
  process.faults = {tests::FailingAfterEffect("CM_Locate_DevNodeW", platform::CR_FAILURE)};
  EXPECT_TRUE(Run());
  EXPECT_EQ(CountOf("CM_Query_And_Remove_SubTreeW"), 0U);
}

TEST_F(QueryRemove, LogsTheFirstVetoAndTheSuccess) {
  Device& root = tests::AddStartedRoot(machine);
  root.temper.vetoes = 3;
  root.temper.vetoType = 6;
  root.temper.vetoName = u"\\Device\\HarddiskVolume3\\player.exe";
  EXPECT_TRUE(Run());
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: query-remove attempt 1: CONFIGRET 23, veto type 6 by "
            u"'\\Device\\HarddiskVolume3\\player.exe'\n"
            u"vorn_devnode: query-remove succeeded on attempt 4 after 750 ms\n");
  for (const auto& sleep : tests::CallsOf(process, "Sleep")) {
    EXPECT_EQ(sleep.Argument("milliseconds"), "250");
  }
}

TEST_F(QueryRemove, GivesUpAfterTheBudgetAndLogsTwoLines) {
  Device& root = tests::AddStartedRoot(machine);
  root.temper.vetoUntil = machine.clock.tick + 60'000;
  root.temper.vetoType = 5;
  root.temper.vetoName = u"x";
  EXPECT_FALSE(Run());
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: query-remove attempt 1: CONFIGRET 23, veto type 5 by 'x'\n"
            u"vorn_devnode: query-remove attempt 41: CONFIGRET 23, veto type 5 by 'x'\n");
  EXPECT_EQ(Waited(), 10'000U);
  EXPECT_EQ(CountOf("CM_Query_And_Remove_SubTreeW"), 41U);
}

TEST_F(QueryRemove, CountsTheCallItselfAgainstTheBudget) {
  Device& root = tests::AddStartedRoot(machine);
  root.temper.vetoUntil = machine.clock.tick + 60'000;
  root.temper.vetoName = u"x";
  process.faults = {tests::SlowCall("CM_Query_And_Remove_SubTreeW", 9'750, 2)};
  EXPECT_FALSE(Run());
  EXPECT_EQ(CountOf("CM_Query_And_Remove_SubTreeW"), 2U);
}

TEST_F(QueryRemove, LogsHowLongASlowSuccessTook) {
  tests::AddStartedRoot(machine);
  process.faults = {tests::SlowCall("CM_Query_And_Remove_SubTreeW", 12'345)};
  EXPECT_TRUE(Run());
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: query-remove succeeded on attempt 1 after 12345 ms\n");
}

TEST_F(QueryRemove, LogsATimeThatExceeds32Bits) {
  tests::AddStartedRoot(machine);
  process.faults = {tests::SlowCall("CM_Query_And_Remove_SubTreeW", 5'000'000'000)};
  EXPECT_TRUE(Run());
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: query-remove succeeded on attempt 1 after 5000000000 ms\n");
}

TEST_F(QueryRemove, StartsTheBudgetWhenTheNodeIsLocated) {
  tests::AddStartedRoot(machine);
  process.faults = {tests::SlowCall("CM_Locate_DevNodeW", 60'000)};
  EXPECT_TRUE(Run());
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: query-remove succeeded on attempt 1 after 0 ms\n");
}

TEST_F(QueryRemove, GoesAheadWithASuccessAfterTheBudget) {
  tests::AddStartedRoot(machine).temper.vetoes = 1;
  process.faults = {tests::SlowCall("CM_Query_And_Remove_SubTreeW", 40'000, 2)};
  EXPECT_TRUE(Run());
  EXPECT_TRUE(process.ErrorOutput().ends_with(
      u"vorn_devnode: query-remove succeeded on attempt 2 after 40250 ms\n"));
}

TEST_F(QueryRemove, GoesAheadWithAnotherRefusalAfterTheBudget) {
  tests::AddStartedRoot(machine).temper.queryRemoveResult = platform::CR_ACCESS_DENIED;
  process.faults = {tests::SlowCall("CM_Query_And_Remove_SubTreeW", 40'000)};
  EXPECT_TRUE(Run());
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: query-remove attempt 1: CONFIGRET 51, veto type 0 by ''\n");
}

TEST_F(QueryRemove, TriesOnceMoreAfterASleepPastTheBudget) {
  tests::AddStartedRoot(machine).temper.vetoes = 2;
  EXPECT_TRUE(Run(251));
  EXPECT_EQ(CountOf("CM_Query_And_Remove_SubTreeW"), 3U);
}

TEST_F(QueryRemove, LocatesTheNodeOnceAndReadsTheTimeAfterEachAttempt) {
  tests::AddStartedRoot(machine, tests::kOtherRootId).temper.vetoes = 1;
  EXPECT_TRUE(QueryRemoveWithRetries(tests::kOtherRootId, kVetoBudgetMs, log));
  EXPECT_EQ(tests::CallsOf(process, "CM_Locate_DevNodeW")[0].Argument("pDeviceID"),
            "ROOT\\MEDIA\\0001");
  std::vector<std::string> names = tests::CallNames(process);
  std::erase_if(names, tests::IsPrinting);
  EXPECT_EQ(names,
            (std::vector<std::string>{"CM_Locate_DevNodeW", "GetTickCount64",
                                      "CM_Query_And_Remove_SubTreeW", "GetTickCount64", "Sleep",
                                      "CM_Query_And_Remove_SubTreeW", "GetTickCount64"}));
}

TEST_F(QueryRemove, TriesJustAsLongWhereTheTickExceeds32Or63Bits) {
  for (const std::uint64_t tick : tests::kTicksBeforeAnOverflow) {
    machine = {};
    machine.clock.tick = tick;
    process.calls.clear();
    tests::AddStartedRoot(machine).temper.vetoUntil = tick + 60'000;
    EXPECT_FALSE(Run()) << tick;
    EXPECT_EQ(machine.clock.tick - tick, 10'000U) << tick;
    EXPECT_EQ(CountOf("CM_Query_And_Remove_SubTreeW"), 41U) << tick;
  }
}

TEST_F(QueryRemove, LeavesOtherRefusalsToTheRemoval) {
  tests::AddStartedRoot(machine).temper.queryRemoveResult = platform::CR_ACCESS_DENIED;
  EXPECT_TRUE(Run());
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: query-remove attempt 1: CONFIGRET 51, veto type 0 by ''\n");
  EXPECT_EQ(CountOf("CM_Query_And_Remove_SubTreeW"), 1U);
}

TEST_F(QueryRemove, TakesOneAnswerForAVetoAndNoOther) {
  tests::AddStartedRoot(machine);
  for (std::uint32_t answer = 1; answer < 0x40; ++answer) {
    if (answer == platform::CR_REMOVE_VETOED) continue;
    process.callCounts.clear();
    process.faults = {FailingCall("CM_Query_And_Remove_SubTreeW", answer)};
    EXPECT_TRUE(Run()) << answer;
    EXPECT_EQ(CountOf("Sleep"), 0U) << answer;
  }
}

TEST_F(QueryRemove, TakesAVetoOfAnUnknownTypeForOne) {
  Device& root = tests::AddStartedRoot(machine);
  root.temper.vetoes = 1;
  root.temper.vetoType = 0;
  EXPECT_TRUE(Run());
  EXPECT_EQ(CountOf("CM_Query_And_Remove_SubTreeW"), 2U);
}

TEST_F(QueryRemove, ForgetsTheVetoOfAnEarlierAttempt) {
  Device& root = tests::AddStartedRoot(machine);
  root.temper.vetoes = 1;
  root.temper.vetoName = u"player";
  process.faults = {FailingCall("CM_Query_And_Remove_SubTreeW", platform::CR_FAILURE, 2)};
  EXPECT_TRUE(Run());
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: query-remove attempt 1: CONFIGRET 23, veto type 6 by 'player'\n"
            u"vorn_devnode: query-remove attempt 2: CONFIGRET 19, veto type 0 by ''\n");
}

TEST_F(QueryRemove, LogsAVetoOnceWithABudgetOfZero) {
  tests::AddStartedRoot(machine).temper.vetoes = 5;
  EXPECT_FALSE(Run(0));
  EXPECT_EQ(process.console.size(), 1U);
  EXPECT_EQ(CountOf("Sleep"), 0U);
}

TEST_F(QueryRemove, KeepsAVetoNameOf259Characters) {
  Device& root = tests::AddStartedRoot(machine);
  root.temper.vetoes = 5;
  root.temper.vetoName = std::u16string(300, u'v');
  EXPECT_FALSE(Run(0));
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: query-remove attempt 1: CONFIGRET 23, veto type 6 by '" +
                std::u16string(259, u'v') + u"'\n");
}

TEST(AFailingCall, NeverMakesAVetoLookLikeASuccess) {
  Machine machine;
  Device& root = tests::AddStartedRoot(machine, kRootId);
  root.temper.vetoUntil = machine.clock.tick + 60'000;
  const auto routine = [] { return QueryRemoveWithRetries(kRootId, 1000, RemovalLog()); };
  WithEachCallGoingWrong(
      machine, FaultKind::Fail, routine, [](const Process& process, const Machine&, bool goAhead) {
        EXPECT_EQ(process.ErrorOutput().find(u"succeeded"), std::u16string::npos);
        const auto& calls = process.calls;
        const bool refusedOtherwise = std::any_of(calls.begin(), calls.end(), [](const auto& call) {
          return (call.name == "CM_Query_And_Remove_SubTreeW" && call.result != "23") ||
                 (call.name == "CM_Locate_DevNodeW" && call.result != "0");
        });
        EXPECT_EQ(goAhead, refusedOtherwise);
      });
}

}  // namespace
}  // namespace vorn

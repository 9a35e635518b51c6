// When the verification engine looks, and when it stops looking.

#include "base/text.h"
#include "platform/simulated/endpoint_builder.h"
#include "tests/support/activation.h"
#include "tests/support/machine_view.h"
#include "tests/verify/engine_lines.h"

#include <gtest/gtest.h>

namespace vorn {
namespace {

using platform::simulated::EventKind;
using platform::simulated::Fault;
using platform::simulated::FaultKind;
using platform::simulated::InstalledMachine;
using platform::simulated::Machine;
using platform::simulated::Plan;
using platform::simulated::WithdrawEndpoints;
using tests::EngineRun;
using tests::ExpectMissing;
using tests::ExpectNothingLeft;
using tests::ExpectProven;
using tests::kPausesOfAFailedRun;
using tests::kPollPauseMs;
using tests::kProofBudgetMs;
using tests::kRootId;
using tests::MissingFields;
using tests::MissingLine;
using tests::RootOf;
using tests::RunEngine;
using tests::UpdateTarget;

TEST(LiveVerificationPolls, StopWhenTheEndpointsHaveSettled) {
  for (const std::uint64_t delay : {1ull, 2'000ull, 2'001ull, 5'000ull, 89'999ull, 90'000ull}) {
    Machine machine = InstalledMachine();
    const ActivationState state = UpdateTarget(machine);
    WithdrawEndpoints(machine, kRootId);
    Plan(machine, delay, EventKind::PublishEndpoints, kRootId);
    const EngineRun run = RunEngine(machine, state);
    ExpectProven(machine, run);
    EXPECT_EQ(run.Sleeps(kPollPauseMs), (delay + kPollPauseMs - 1) / kPollPauseMs) << delay;
  }
}

TEST(LiveVerificationPolls, LookAtEverythingNoMoreOnceItIsProven) {
  Machine machine = InstalledMachine();
  const EngineRun run = RunEngine(machine, UpdateTarget(machine));
  ExpectProven(machine, run);
  std::size_t looks = 0;
  for (const auto& call : run.calls) {
    looks += call.name == "SetupDiGetClassDevsW" && call.Argument("Enumerator") == "ROOT" ? 1 : 0;
  }
  EXPECT_EQ(looks, 2U);  // the wait for the root, and the poll
  EXPECT_EQ(run.CountOf("DeviceIoControl"), 2U);
  EXPECT_EQ(run.CountOf("CoInitializeEx"), 1U);
}

TEST(LiveVerificationPolls, LookAtTheClockNoMoreOnceEverythingIsProven) {
  Machine machine = InstalledMachine();
  const EngineRun run = RunEngine(machine, UpdateTarget(machine));
  ExpectProven(machine, run);
  EXPECT_EQ(run.CountOf("GetTickCount64"), 2U);  // when the waits for the root and the proof begin
}

TEST(LiveVerificationPolls, StopAtTheDeadline) {
  Machine machine = InstalledMachine();
  const ActivationState state = UpdateTarget(machine);
  WithdrawEndpoints(machine, kRootId);
  Plan(machine, kProofBudgetMs + 1, EventKind::PublishEndpoints, kRootId);
  const EngineRun run = RunEngine(machine, state);
  EXPECT_EQ(run.duration, kProofBudgetMs);
  EXPECT_EQ(run.CountOf("CoInitializeEx"), kPausesOfAFailedRun + 1);
  MissingFields fields;
  fields.mapping = "MMDevice catalog has the wrong VORN endpoint count";
  fields.catalogCount = fields.activeCount = fields.presentCount = 0;
  ExpectMissing(run, MissingLine(fields));
}

TEST(LiveVerificationPolls, GoOnWhenTheDeadlineIsNearerThanAPause) {
  Machine machine = InstalledMachine();
  const ActivationState state = UpdateTarget(machine);
  WithdrawEndpoints(machine, kRootId);
  // One poll then ends a millisecond before the deadline.
  const EngineRun run = RunEngine(machine, state, VerificationMode::Reporting,
                                  {tests::SlowCall("CoInitializeEx", kPollPauseMs - 1)});
  EXPECT_EQ(run.duration, kProofBudgetMs + kPollPauseMs - 1);
}

TEST(LiveVerificationPolls, StopAtTheDeadlineHoweverLongTheMachineIsUp) {
  constexpr std::uint64_t k32Bits = std::uint64_t{1} << 32;
  constexpr std::uint64_t k63Bits = std::uint64_t{1} << 63;
  for (const std::uint64_t begin :
       {k32Bits - kProofBudgetMs - 1, k32Bits - kProofBudgetMs, k32Bits - 45'000, k32Bits - 1,
        k32Bits, k63Bits - 45'000, k63Bits}) {
    SCOPED_TRACE(begin);
    Machine machine = InstalledMachine();
    machine.clock.tick = begin;
    const ActivationState state = UpdateTarget(machine);
    RootOf(machine).resident->revision = 9;
    const EngineRun run = RunEngine(machine, state);
    EXPECT_EQ(run.status, kExitEndpointsMissing);
    EXPECT_EQ(run.duration, kProofBudgetMs);
    EXPECT_EQ(run.CountOf("CoInitializeEx"), kPausesOfAFailedRun + 1);
  }
}

TEST(LiveVerificationPolls, HappenAtTheseTicks) {
  Machine machine = InstalledMachine();
  const ActivationState state = UpdateTarget(machine);
  RootOf(machine).resident->revision = 9;
  const std::uint64_t begin = machine.clock.tick;
  const EngineRun run = RunEngine(machine, state);
  std::vector<std::uint64_t> ticks;
  for (const auto& call : run.calls) {
    if (call.name == "CoInitializeEx") ticks.push_back(call.tick - begin);
  }
  ASSERT_EQ(ticks.size(), kPausesOfAFailedRun + 1);
  for (std::size_t i = 0; i < ticks.size(); ++i) {
    EXPECT_EQ(ticks[i], i * kPollPauseMs);
  }
}

TEST(LiveVerificationPolls, EndWithTheFirstOneThatIsPastTheDeadline) {
  Machine machine = InstalledMachine();
  const ActivationState state = UpdateTarget(machine);
  RootOf(machine).resident->revision = 9;
  // The first poll takes 1 ms: the others come 1 ms late, and the last of them at 90,001 ms.
  Fault slow;
  slow.call = "CoCreateInstance";
  slow.kind = FaultKind::TakeTime;
  slow.amount = 1;
  const EngineRun run = RunEngine(machine, state, VerificationMode::Reporting, {slow});
  EXPECT_EQ(run.duration, kProofBudgetMs + 1);
  EXPECT_EQ(run.CountOf("CoInitializeEx"), kPausesOfAFailedRun + 1);
}

TEST(LiveVerificationPolls, EndWithTheOneThatOutlastsTheDeadline) {
  Machine machine = InstalledMachine();
  const ActivationState state = UpdateTarget(machine);
  RootOf(machine).resident->revision = 9;
  Fault slow;
  slow.call = "CoCreateInstance";
  slow.kind = FaultKind::TakeTime;
  slow.amount = kProofBudgetMs;
  const EngineRun run = RunEngine(machine, state, VerificationMode::Reporting, {slow});
  EXPECT_EQ(run.status, kExitEndpointsMissing);
  MissingFields fields;
  fields.resident =
      "RESIDENT IMAGE/ABI MISMATCH: loaded DriverVer is 26.8.10.9 but the activated package is "
      "26.8.10.5; resident driver ABI/capability handshake does not match the activated package";
  EXPECT_EQ(run.console, tests::Console{MissingLine(fields)});
  EXPECT_EQ(run.CountOf("Sleep"), 0u);
  EXPECT_EQ(run.CountOf("CoInitializeEx"), 1u);
}

TEST(LiveVerificationPolls, AcceptAProofThatComesAfterTheDeadline) {
  Machine machine = InstalledMachine();
  const ActivationState state = UpdateTarget(machine);
  Fault slow;
  slow.call = "CoCreateInstance";
  slow.kind = FaultKind::TakeTime;
  slow.amount = kProofBudgetMs + 1;
  ExpectProven(machine, RunEngine(machine, state, VerificationMode::Reporting, {slow}));
}

TEST(LiveVerificationPolls, AreASingleSilentOneInQuickMode) {
  Machine machine = InstalledMachine();
  const ActivationState state = UpdateTarget(machine);
  const EngineRun proven = RunEngine(machine, state, VerificationMode::Quick);
  EXPECT_EQ(proven.status, kExitOk);
  EXPECT_TRUE(proven.console.empty());
  ExpectNothingLeft(proven);

  WithdrawEndpoints(machine, kRootId);
  Plan(machine, 1, EventKind::PublishEndpoints, kRootId);
  const EngineRun unsettled = RunEngine(machine, state, VerificationMode::Quick);
  EXPECT_EQ(unsettled.status, kExitEndpointsMissing);
  EXPECT_TRUE(unsettled.console.empty());
  EXPECT_EQ(unsettled.CountOf("Sleep"), 0u);
  EXPECT_EQ(unsettled.CountOf("CoInitializeEx"), 1u);
  ExpectNothingLeft(unsettled);
}

}  // namespace
}  // namespace vorn

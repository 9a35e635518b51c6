#include "verify/live_verification.h"

#include "base/text.h"
#include "platform/audio_endpoints.h"
#include "platform/simulated/endpoint_builder.h"
#include "tests/support/activation.h"
#include "tests/verify/engine_lines.h"

#include <gtest/gtest.h>

namespace vorn {
namespace {

using platform::simulated::CableFlow;
using platform::simulated::CleanMachine;
using platform::simulated::EventKind;
using platform::simulated::FindEndpoint;
using platform::simulated::InstalledMachine;
using platform::simulated::Machine;
using platform::simulated::Plan;
using platform::simulated::StopDevice;
using tests::Console;
using tests::EngineRun;
using tests::Err;
using tests::ExpectMissing;
using tests::ExpectNothingLeft;
using tests::ExpectProven;
using tests::FreshTarget;
using tests::kPollPauseMs;
using tests::kProofBudgetMs;
using tests::kRootId;
using tests::kStartBudgetMs;
using tests::kStartWaitPauseMs;
using tests::MissingFields;
using tests::MissingLine;
using tests::ProvenLine;
using tests::RunEngine;
using tests::UpdateTarget;

TEST(LiveVerification, ProvesASoundMachineAtTheFirstPollWithoutAPause) {
  Machine machine = InstalledMachine();
  for (const ActivationState& state : {FreshTarget(machine), UpdateTarget(machine)}) {
    const EngineRun run = RunEngine(machine, state);
    ExpectProven(machine, run);
    EXPECT_EQ(run.CountOf("Sleep"), 0u);
    EXPECT_EQ(run.duration, 0u);
  }
}

TEST(LiveVerification, NamesTheDateBeforeTheVersion) {
  Machine machine = InstalledMachine();
  const EngineRun run = RunEngine(machine, FreshTarget(machine));
  ASSERT_EQ(run.console.size(), 1u);
  EXPECT_NE(run.console[0].text.find("package=08/10/2026 26.8.10.5 (oem"), std::string::npos);
}

TEST(LiveVerification, CountsActiveAndPresentEndpoints) {
  Machine machine = InstalledMachine();
  for (const CableFlow& cable : {CableFlow{2, 0}, CableFlow{2, 1}, CableFlow{7, 1}}) {
    SetEndpointDisabled(machine, FindEndpoint(machine, kRootId, cable)->id, true);
  }
  const EngineRun run = RunEngine(machine, UpdateTarget(machine));
  EXPECT_EQ(run.status, kExitOk);
  EXPECT_EQ(run.console, Console{ProvenLine(machine, 17, 17)});
}

TEST(LiveVerification, TellsActiveEndpointsFromPresentChildren) {
  Machine machine = InstalledMachine();
  const ActivationState state = UpdateTarget(machine);
  tests::DisableCatalogOnly(machine);
  const EngineRun run = RunEngine(machine, state);
  EXPECT_EQ(run.status, kExitOk);
  EXPECT_EQ(run.console, Console{ProvenLine(machine, 0, 20)});
}

// ------------------------------------------------------------------------------------------------
// The start wait.

TEST(LiveVerificationStart, GivesUpAfterTwentySeconds) {
  Machine machine = InstalledMachine();
  const ActivationState state = FreshTarget(machine);
  DisableDevice(machine, kRootId);
  const EngineRun run = RunEngine(machine, state);
  EXPECT_EQ(run.status, kExitNotStarted);
  EXPECT_EQ(
      run.console,
      Console{
          Err("vorn_devnode: RESULT=NOT_STARTED - devnode did not reach DN_STARTED (problem=22)")});
  EXPECT_EQ(run.duration, kStartBudgetMs);
  EXPECT_EQ(run.Sleeps(kStartWaitPauseMs), kStartBudgetMs / kStartWaitPauseMs);
  EXPECT_EQ(run.CountOf("SetupDiGetClassDevsW"), kStartBudgetMs / kStartWaitPauseMs + 1);
  EXPECT_EQ(run.Sleeps(kPollPauseMs), 0u);
  EXPECT_EQ(run.CountOf("CoInitializeEx"), 0u);
  ExpectNothingLeft(run);
}

TEST(LiveVerificationStart, HasNoProblemCodeWithoutARoot) {
  Machine machine = CleanMachine();
  const EngineRun run = RunEngine(machine, FreshTarget(machine));
  EXPECT_EQ(run.status, kExitNotStarted);
  EXPECT_EQ(
      run.console,
      Console{
          Err("vorn_devnode: RESULT=NOT_STARTED - devnode did not reach DN_STARTED (problem=0)")});
}

TEST(LiveVerificationStart, LooksOnceInQuickModeAndSaysNothing) {
  Machine machine = CleanMachine();
  const EngineRun run = RunEngine(machine, FreshTarget(machine), VerificationMode::Quick);
  EXPECT_EQ(run.status, kExitNotStarted);
  EXPECT_TRUE(run.console.empty());
  EXPECT_EQ(run.CountOf("Sleep"), 0u);
  EXPECT_EQ(run.CountOf("SetupDiGetClassDevsW"), 1u);
  ExpectNothingLeft(run);
}

TEST(LiveVerificationStart, LooksALastTimeWhenTheBudgetIsSpent) {
  for (const auto& [delay, status] :
       {std::pair{kStartBudgetMs, kExitOk}, std::pair{kStartBudgetMs + 1, kExitNotStarted}}) {
    Machine machine = InstalledMachine();
    const ActivationState state = FreshTarget(machine);
    StopDevice(machine, kRootId);
    Plan(machine, delay, EventKind::StartDevice, kRootId);
    EXPECT_EQ(RunEngine(machine, state).status, status) << delay;
  }
}

TEST(LiveVerificationStart, DoesNotCountAgainstTheNinetySeconds) {
  Machine machine = InstalledMachine();
  const ActivationState state = FreshTarget(machine);
  machine.audio.neverPublished = {{4, 0}};
  StopDevice(machine, kRootId);
  constexpr std::uint64_t kStartDelay = 15'000;
  Plan(machine, kStartDelay, EventKind::StartDevice, kRootId);
  const EngineRun run = RunEngine(machine, state);
  EXPECT_EQ(run.Sleeps(kStartWaitPauseMs), kStartDelay / kStartWaitPauseMs);
  EXPECT_EQ(run.duration, kStartDelay + kProofBudgetMs);
  MissingFields fields;
  fields.mapping = "MMDevice catalog has the wrong VORN endpoint count";
  fields.catalogCount = fields.activeCount = fields.presentCount = 19;
  ExpectMissing(run, MissingLine(fields));
}

TEST(LiveVerification, ChangesNothing) {
  Machine machine = InstalledMachine();
  const ActivationState state = UpdateTarget(machine);
  const EngineRun run = RunEngine(machine, state);
  for (const char* call : {"SetupDiCallClassInstaller", "SetupDiSetClassInstallParamsW",
                           "UpdateDriverForPlugAndPlayDevicesW", "SetupUninstallOEMInfW",
                           "WriteFile", "SetFileInformationByHandle",
                           "CM_Query_And_Remove_SubTreeW", "NtDeleteKey", "CreateDirectoryW"}) {
    EXPECT_EQ(run.CountOf(call), 0u) << call;
  }
}

}  // namespace
}  // namespace vorn

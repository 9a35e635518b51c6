// Every command on every starting machine, with each platform call going wrong in each way: once
// and from then on, by failing, by lying, by another process's doing, by the program's own death.

#include "tests/faults/harness.h"
#include "tests/faults/report.h"

#include <algorithm>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <tuple>

namespace vorn::tests {

namespace {

/// The number in an environment variable; 0 when there is none.
std::size_t EnvironmentNumber(const char* name) {
  const char* text = std::getenv(name);
  return text == nullptr ? 0 : std::strtoull(text, nullptr, 10);
}

// Runs of each phase and scenario in the default form.
constexpr std::size_t kDefaultCaps[] = {150, 60, 40, 40, 10, 30};
// Pairs of each scenario in the nightly form: 100,000 and more for the long commands together.
constexpr std::size_t kNightlyPairs = 1'000;
constexpr std::size_t kNightlyDoubleCrashes = 200;
// One run of so many keeps the call log, which costs as much as the run.
constexpr std::size_t kLogEvery = 8;
constexpr std::size_t kShownViolations = 20;

bool IsFullForm() {
  return EnvironmentNumber("VORN_FAULTS_FULL") != 0;
}

/// Commands of so few calls that every pair of them can be run.
bool IsShort(Command command) {
  return command == Command::AuditCatalog || command == Command::ResumeEndpoints;
}

std::size_t CapOf(Phase phase) {
  if (IsFullForm()) {
    if (phase == Phase::Pairs) return kNightlyPairs;
    return phase == Phase::DoubleCrashes ? kNightlyDoubleCrashes : 0;
  }
  const std::size_t every = std::max<std::size_t>(1, EnvironmentNumber("VORN_FAULTS_SAMPLE"));
  const std::size_t times = std::max<std::size_t>(1, EnvironmentNumber("VORN_FAULTS_TIMES"));
  return std::max<std::size_t>(1, kDefaultCaps[static_cast<int>(phase)] * times / every);
}

/// Which of the possible runs a sample takes: others with another VORN_FAULTS_SEED.
std::uint64_t SeedFor(const Scenario& scenario, Phase phase) {
  return SeedOf(scenario.Name() + NameOf(phase) +
                std::to_string(EnvironmentNumber("VORN_FAULTS_SEED")));
}

class Faults : public testing::TestWithParam<std::tuple<Phase, Command>> {
 protected:
  void RunScenario(Phase phase, const Scenario& scenario, ShardReport& report) {
    const Undisturbed undisturbed = RunUndisturbed(scenario);
    ++report.machines;
    report.calls += undisturbed.calls;
    std::vector<Plan> plans;
    if (phase == Phase::Pairs || phase == Phase::DoubleCrashes) {
      plans =
          DrawPairs(phase, scenario, undisturbed.counts, CapOf(phase), SeedFor(scenario, phase));
      if (phase == Phase::Pairs && IsFullForm() && IsShort(scenario.line->command)) {
        plans = EveryPairOfCalls(undisturbed.counts);
      }
      report.possible += plans.size();
    } else {
      plans = AllPlans(phase, scenario, undisturbed.counts);
      report.possible += plans.size();
      plans = Sample(std::move(plans), CapOf(phase), SeedFor(scenario, phase));
    }
    for (const Plan& plan : plans)
      RunOne(scenario, plan, report);
  }

  void RunOne(const Scenario& scenario, const Plan& plan, ShardReport& report) {
    const bool log = report.runs++ % kLogEvery == 0;
    const Violations violations = RunPlan(scenario, plan, log);
    if (violations.empty()) return;
    report.violations += violations.size();
    if (++failures_ > kShownViolations) return;
    for (const std::string& violation : violations) {
      ADD_FAILURE() << violation << "\n  faults_tests --replay '"
                    << ReplayText(scenario.Name(), plan) << "'";
    }
  }

 private:
  std::size_t failures_ = 0;
};

}  // namespace

TEST_P(Faults, LeaveTheWorldAsThePromisesSay) {
  const auto [phase, command] = GetParam();
  ShardReport report;
  report.phase = NameOf(phase);
  report.command = LineOf(command).name;
  for (const StartingMachine& start : StartingMachines())
    RunScenario(phase, {&LineOf(command), &start}, report);
  WriteShardReport(report);
  EXPECT_EQ(report.violations, 0U);
}

INSTANTIATE_TEST_SUITE_P(
    EveryCommand, Faults,
    testing::Combine(testing::ValuesIn(kPhases),
                     testing::Values(Command::Install, Command::InstallRollback, Command::Remove,
                                     Command::Verify, Command::HotActivate, Command::AuditCurrent,
                                     Command::AuditCatalog, Command::ResumeEndpoints)),
    [](const auto& shard) {
      std::string name = std::string(NameOf(std::get<0>(shard.param))) + "_" +
                         LineOf(std::get<1>(shard.param)).name;
      std::replace(name.begin(), name.end(), '-', '_');
      return name;
    });

}  // namespace vorn::tests

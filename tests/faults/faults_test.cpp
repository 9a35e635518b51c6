// Every command on every starting machine, with each platform call going wrong in each way, once or
// from that call on: it fails, it lies, another process acts, or the program dies.

#include "tests/faults/harness.h"
#include "tests/faults/report.h"

#include <algorithm>
#include <cstdlib>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <string>
#include <tuple>

namespace vorn::tests {

namespace {

/// The number in an environment variable; 0 when there is none.
std::size_t EnvironmentNumber(const char* name) {
  const char* text = std::getenv(name);
  return text == nullptr ? 0 : std::strtoull(text, nullptr, 10);
}

// Runs of each phase and scenario in the default form, besides those that are the first to put a
// fault at a call site.
constexpr std::size_t kDefaultCaps[] = {60, 20, 20, 60, 8, 40};
// Pairs of each scenario in the nightly form: more than 100,000 for the long commands together.
constexpr std::size_t kNightlyPairs = 1'000;
constexpr std::size_t kNightlyDoubleCrashes = 100;
// Every so many runs one keeps the call log, which costs as much as the run itself.
constexpr std::size_t kLogEvery = 16;
constexpr std::size_t kShownViolations = 20;
constexpr std::size_t kThinnedMachines = 4;

bool IsFullForm() {
  return EnvironmentNumber("VORN_FAULTS_FULL") != 0;
}

/// Whether repeated turns of a wait are tried as well. They are most of the calls.
bool WithRepeats() {
  return EnvironmentNumber("VORN_FAULTS_FULL") > 1;
}

std::size_t SampleEvery() {
  return std::max<std::size_t>(1, EnvironmentNumber("VORN_FAULTS_SAMPLE"));
}

/// Of so many machines a thinned sample takes one with each command, and disturbs it that much more
/// often: to plan the runs of a machine takes longer than a few runs.
std::size_t MachinesEvery() {
  return IsFullForm() || SampleEvery() < kThinnedMachines ? 1 : kThinnedMachines;
}

/// Commands with so few calls that every pair can be run.
bool IsShort(Command command) {
  return command == Command::AuditCatalog || command == Command::ResumeEndpoints;
}

std::size_t CapOf(Phase phase) {
  if (IsFullForm()) {
    return phase == Phase::DoubleCrashes ? kNightlyDoubleCrashes : kNightlyPairs;
  }
  const std::size_t times = std::max<std::size_t>(1, EnvironmentNumber("VORN_FAULTS_TIMES"));
  return std::max<std::size_t>(
      1, kDefaultCaps[static_cast<int>(phase)] * times * MachinesEvery() / SampleEvery());
}

/// Selects which of the possible runs a sample takes; VORN_FAULTS_SEED changes it.
std::uint64_t SeedFor(const Scenario& scenario, Phase phase) {
  return SeedOf(scenario.Name() + NameOf(phase) +
                std::to_string(EnvironmentNumber("VORN_FAULTS_SEED")));
}

/// Whether every pair of calls is run: for the short commands only, and in the default form on the
/// installed machine only.
bool TakesEveryPair(Phase phase, const Scenario& scenario) {
  if (phase != Phase::Pairs || !IsShort(scenario.line->command) || SampleEvery() > 1) return false;
  return IsFullForm() || (scenario.line->command == Command::ResumeEndpoints &&
                          scenario.start->name == "installed");
}

}  // namespace

/// The undisturbed run of a scenario, made once for all phases.
const Undisturbed& UndisturbedOf(const Scenario& scenario) {
  static std::map<std::string, Undisturbed> runs;
  const auto known = runs.find(scenario.Name());
  if (known != runs.end()) return known->second;
  return runs.emplace(scenario.Name(), RunUndisturbed(scenario, {!IsFullForm(), true}))
      .first->second;
}

class Faults : public testing::TestWithParam<std::tuple<Phase, Command>> {
 protected:
  void RunScenario(Phase phase, const Scenario& scenario, ShardReport& report) {
    const Undisturbed& undisturbed = UndisturbedOf(scenario);
    ++report.machines;
    report.calls += undisturbed.places.size();
    for (const Plan& plan : Choose(phase, scenario, undisturbed, report))
      RunOne(scenario, plan, report);
  }

  std::vector<Plan> Choose(Phase phase, const Scenario& scenario, const Undisturbed& undisturbed,
                           ShardReport& report) {
    if (phase == Phase::Pairs || phase == Phase::DoubleCrashes) {
      std::vector<Plan> plans = PairsOf(phase, scenario, undisturbed);
      report.possible += plans.size();
      report.distinct += plans.size();
      return plans;
    }
    std::vector<Plan> plans = AllPlans(phase, scenario, undisturbed, WithRepeats());
    report.possible += CountPossible(phase, scenario, undisturbed);
    report.distinct += plans.size();
    if (IsFullForm()) return plans;
    // A thinned sample leaves out call sites too.
    return Sample(plans, CapOf(phase), SeedFor(scenario, phase),
                  SampleEvery() > 1 ? nullptr : &seen_);
  }

  /// Drawn pairs, or every pair of calls, once for all machines that answer alike.
  std::vector<Plan> PairsOf(Phase phase, const Scenario& scenario, const Undisturbed& undisturbed) {
    if (!TakesEveryPair(phase, scenario)) {
      return DrawPairs(phase, scenario, undisturbed, CapOf(phase), SeedFor(scenario, phase));
    }
    if (!answers_.insert(undisturbed.answers).second) return {};
    return EveryPairOfCalls(undisturbed);
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
  SeenWays seen_;
  std::set<std::uint64_t> answers_;
};

TEST_P(Faults, BreakNoPromise) {
  const auto [phase, command] = GetParam();
  ShardReport report;
  report.phase = NameOf(phase);
  report.command = LineOf(command).name;
  // Other machines with each command, so that a thinned sample still takes all of them.
  for (std::size_t i = static_cast<std::size_t>(command) % MachinesEvery();
       i < StartingMachines().size(); i += MachinesEvery())
    RunScenario(phase, {&LineOf(command), &StartingMachines()[i]}, report);
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

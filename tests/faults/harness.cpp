#include "tests/faults/harness.h"

#include "base/text.h"
#include "tests/faults/recovery.h"

#include <cstdio>

namespace vorn::tests {

namespace model = platform::simulated;
using model::FaultKind;
using model::Machine;

namespace {

bool IsKill(const PlannedFault& fault) {
  return fault.way.kind == FaultKind::KillBefore || fault.way.kind == FaultKind::KillAfter ||
         fault.way.kind == FaultKind::Hang;
}

RunResult RunWith(const Scenario& scenario, Machine& machine,
                  const std::vector<model::Fault>& faults, bool log) {
  RunOptions options;
  options.faults = faults;
  options.logCalls = log;
  return RunCommand(machine, scenario.line->arguments, options);
}

/// Exit statuses of the undisturbed runs, by scenario.
int StatusOf(const Scenario& scenario) {
  static std::map<std::string, int> statuses;
  const auto known = statuses.find(scenario.Name());
  if (known != statuses.end()) return known->second;
  Machine machine = scenario.start->machine;
  return statuses[scenario.Name()] = RunWith(scenario, machine, BusyMachine(), false).status;
}

struct Disturbed {
  Machine after;
  RunResult run;
  Violations violations;
};

Disturbed RunAndJudge(const Scenario& scenario, const Plan& plan, bool log) {
  const bool crash = IsKill(plan.front());
  std::vector<model::Fault> faults = BusyMachine();
  const std::size_t taken = crash ? 1 : plan.size();  // a second crash hits the recovery
  for (std::size_t i = 0; i < taken; ++i)
    faults.push_back(ToFault(plan[i], scenario.start->machine));
  Disturbed result{scenario.start->machine, {}, {}};
  result.run = RunWith(scenario, result.after, faults, log);
  result.violations =
      Judge({scenario.line->command, scenario.start->machine, result.after, result.run, faults});
  if (crash && result.run.killed) {
    std::vector<model::Fault> second;
    if (plan.size() > 1) second.push_back(ToFault(plan[1], scenario.start->machine));
    const Violations recovery =
        Recover(scenario, result.after, {second, plan.front().way.change, StatusOf(scenario)});
    result.violations.insert(result.violations.end(), recovery.begin(), recovery.end());
  }
  return result;
}

}  // namespace

Violations RunPlan(const Scenario& scenario, const Plan& plan, bool log) {
  Violations found = RunAndJudge(scenario, plan, log).violations;
  // Some excuses are visible only in the call log.
  if (!found.empty() && !log) found = RunAndJudge(scenario, plan, true).violations;
  return found;
}

int Replay(const std::string& replayText) {
  Plan plan;
  std::size_t start = replayText.find('|');
  const Scenario scenario = FindScenario(std::string_view(replayText).substr(0, start));
  while (start != std::string::npos) {
    const std::size_t end = replayText.find('|', start + 1);
    plan.push_back(
        ParsePlannedFault(std::string_view(replayText).substr(start + 1, end - start - 1)));
    start = end;
  }
  if (plan.empty()) plan.push_back({"none", 1, false, {}, 0});
  const Disturbed result = RunAndJudge(scenario, plan, true);
  for (const auto& write : result.run.console)
    std::printf("%s %s", write.error ? "err" : "out", ToUtf8(write.text).c_str());
  std::printf("status %d after %llu calls%s\n", result.run.status,
              static_cast<unsigned long long>(result.run.callCount),
              result.run.killed ? ", killed" : "");
  for (const std::string& violation : result.violations)
    std::printf("violation: %s\n", violation.c_str());
  return static_cast<int>(result.violations.size());
}

}  // namespace vorn::tests

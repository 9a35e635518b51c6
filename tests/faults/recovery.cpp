#include "tests/faults/recovery.h"

#include "base/text.h"
#include "platform/config_manager.h"
#include "tests/faults/undisturbed.h"
#include "tests/invariants/checkers.h"
#include "tests/support/machine_view.h"
#include "tests/support/sample.h"

namespace vorn::tests {

namespace model = platform::simulated;
using model::Machine;

namespace {

constexpr std::uint64_t kBetweenCommandsMs = 10'000;
constexpr std::uint64_t kUntilSettledMs = 60'000;
constexpr char16_t kPreviousVersion[] = u"26.8.9.4";

/// One step of the operator: runs the command and judges it like every other run.
int Step(Command command, Machine& machine, const std::vector<model::Fault>& faults,
         Violations& found) {
  model::Advance(machine, kBetweenCommandsMs);
  const Machine before = machine;
  RunOptions options;
  options.logCalls = false;
  options.faults = BusyMachine();
  options.faults.insert(options.faults.end(), faults.begin(), faults.end());
  const RunResult run = RunCommand(machine, LineOf(command).arguments, options);
  for (const std::string& violation : Judge({command, before, machine, run, options.faults}))
    found.push_back("recovery by " + LineOf(command).name + ": " + violation);
  return run.killed ? -1 : run.status;
}

/// Runs resume-endpoints, which must show what a crash left hidden wherever a driver can.
void ResumeEndpoints(Machine& machine, Violations& found) {
  const int status = Step(Command::ResumeEndpoints, machine, {}, found);
  const model::Device* root = OnlyPresentRoot(machine);
  if (status == 0 && root != nullptr && !root->hidden.empty()) {
    found.push_back("resume-endpoints left endpoints hidden");
  }
}

bool Reached(int status) {
  return status == 0 || status == 10;
}

/// The remedies that a refused install names, in order: delete the journal, run a rollback, and
/// finally remove the device and install it again.
void InstallUntilSound(const Scenario& scenario, Machine& machine, Violations& found) {
  model::RemovePath(machine.files, kSampleJournal);
  if (Reached(Step(Command::InstallRollback, machine, {}, found))) return;
  if (!NameSoundState(scenario, machine).empty()) return;
  model::RemovePath(machine.files, kSampleJournal);
  if (Step(Command::Remove, machine, {}, found) == 10) model::Reboot(machine);
  Step(Command::Install, machine, {}, found);
}

/// A rollback install, whatever crashed. When it is refused, the refusal says what to do next.
void RollBack(const Scenario& scenario, Machine& machine, Violations& found) {
  if (Reached(Step(Command::InstallRollback, machine, {}, found))) return;
  ResumeEndpoints(machine, found);
  if (NameSoundState(scenario, machine).empty()) InstallUntilSound(scenario, machine, found);
}

/// Runs the command again, either at once or after the endpoints are shown.
void Repeat(const Scenario& scenario, Machine& machine, const Aftermath& aftermath,
            Violations& found) {
  const Command command = scenario.line->command;
  const auto isSame = [&](int status) {
    return status == aftermath.undisturbedStatus || Reached(status);
  };
  int status = -1;
  if (aftermath.nextAct == "again") status = Step(command, machine, {}, found);
  if (isSame(status)) return;
  if (!IsReadOnly(command)) ResumeEndpoints(machine, found);
  status = Step(command, machine, {}, found);
  if (isSame(status)) return;
  if (IsInstall(command)) {
    InstallUntilSound(scenario, machine, found);
  } else {
    found.push_back("the same command again ended with " + std::to_string(status) +
                    ", undisturbed with " + std::to_string(aftermath.undisturbedStatus));
  }
}

bool IsSameAsStart(const Scenario& scenario, const Machine& machine) {
  const auto old = InstalledRoots(scenario.start->machine);
  const auto now = InstalledRoots(machine);
  if (old.size() != now.size()) return false;
  for (std::size_t i = 0; i < old.size(); ++i) {
    if (old[i]->instanceId != now[i]->instanceId || old[i]->problem != now[i]->problem ||
        old[i]->publishedInf != now[i]->publishedInf || old[i]->resident != now[i]->resident) {
      return false;
    }
  }
  return true;
}

}  // namespace

std::string NameSoundState(const Scenario& scenario, const Machine& machine) {
  Machine settled = machine;
  model::Advance(settled, kUntilSettledMs);
  if (InstalledRoots(settled).empty()) return "no device";
  if (!WhyNotRunning(settled, kSampleVersion)) return "target runs";
  if (!WhyNotRunning(settled, kPreviousVersion)) return "previous runs";
  const model::Device* root = OnlyPresentRoot(settled);
  if (root != nullptr && !root->pendingInf.empty()) return "restart pending";
  if (root != nullptr && root->problem == platform::CM_PROB_DISABLED) return "disabled";
  if (IsSameAsStart(scenario, settled)) return "as before";
  return {};
}

Violations Recover(const Scenario& scenario, Machine& machine, const Aftermath& aftermath) {
  Violations found;
  const Command command = scenario.line->command;
  if (!aftermath.secondFaults.empty()) Step(command, machine, aftermath.secondFaults, found);
  if (aftermath.nextAct == "rollback") {
    RollBack(scenario, machine, found);
  } else {
    Repeat(scenario, machine, aftermath, found);
  }
  if (NameSoundState(scenario, machine).empty()) {
    found.push_back("the machine reached no sound state");
  }
  return found;
}

}  // namespace vorn::tests

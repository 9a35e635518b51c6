// Whole lives of a machine: the input decides with which it begins, which commands run on it, what
// goes wrong in them, and what happens between them. Every command is judged by all checkers, and a
// life ends well: after a restart, with nothing odd left, a removal and an installation succeed.

#include "tests/fuzz/life.h"

#include "base/text.h"
#include "platform/config_manager.h"
#include "tests/faults/undisturbed.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/life_steps.h"
#include "tests/fuzz/targets.h"
#include "tests/invariants/checkers.h"
#include "tests/support/machine_view.h"
#include "tests/support/sample.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

namespace vorn::tests {

bool tellLives = false;

namespace life {
namespace {

namespace model = platform::simulated;
using model::Machine;

constexpr std::uint64_t kBetweenCommandsMs = 2'000;

/// Whether a command line gets the usage: the only one here that the program does not know.
bool GetsUsage(const std::vector<std::u16string>& arguments) {
  return EqualsIgnoringCase(arguments.front(), u"remove") && arguments.size() != 2;
}

bool IsSameMachine(const Machine& before, const Machine& after) {
  return before.registry == after.registry && before.files == after.files &&
         before.devices == after.devices && before.store == after.store &&
         before.audio == after.audio;
}

/// What the machine would be by itself, at the end of a run that it did not see. What was planned
/// before the run, such as the end of a removal, happens during it and is not the run's doing.
Machine Aged(const Observation& run) {
  Machine aged = run.before;
  const std::uint64_t start = aged.clock.tick;
  model::Advance(aged, run.after.clock.tick - start);
  aged.clock.tick = start;  // the run itself took the time
  return aged;
}

Violations JudgeAged(const Observation& run) {
  Violations found = Judge(run);
  if (found.empty()) return found;
  const Machine aged = Aged(run);
  const Violations later = Judge({run.command, aged, run.after, run.run, run.faults});
  std::erase_if(found, [&](const std::string& violation) {
    return std::find(later.begin(), later.end(), violation) == later.end();
  });
  return found;
}

Violations JudgeUsage(const Observation& run) {
  if (!run.run.killed && run.run.status != 1) return {"a wrong command line got no usage"};
  if (IsSameMachine(run.before, run.after) || run.OthersDid("")) return {};
  return {"a command line that gets the usage changed something"};
}

/// One life as it is lived.
class Living {
 public:
  Living(const Life& life, bool tell) : machine_(life.start->machine), tell_(tell) {
    Tell("start " + life.start->name);
  }

  const Violations& Found() const { return found_; }

  void Take(const LifeStep& step) {
    switch (step.kind) {
      case LifeStepKind::Command:
        Run(step.command, ArgumentsOf(step, machine_));
        CheckHiddenCanBeShown();
        model::Advance(machine_, kBetweenCommandsMs);
        return;
      case LifeStepKind::Fault:
        armed_.push_back(step.fault);
        break;
      case LifeStepKind::Act:
        step.act->perform(machine_, step.one, step.two);
        break;
      case LifeStepKind::Wait:
        model::Advance(machine_, step.milliseconds);
        break;
      case LifeStepKind::Reboot:
        model::Reboot(machine_);
        break;
    }
    Tell(InWords(step));
  }

  /// What an operator does who wants the machine in order.
  void End() {
    armed_.clear();
    Tell("end");
    MakeWellBehaved(machine_);
    model::Reboot(machine_);
    model::RemovePath(machine_.files, kSampleJournal);
    int status = RunLine(Command::Remove);
    if (status == 10) {
      model::Reboot(machine_);
      status = RunLine(Command::Remove);
    }
    Expect(status == 0 && InstalledRoots(machine_).empty(), "the last removal removes the device");
    status = RunLine(Command::Install);
    Expect(status == 0 && !WhyNotRunning(machine_, kSampleVersion),
           "the last installation leaves the device running");
  }

 private:
  void Tell(const std::string& words) const {
    if (tell_) std::printf("%s\n", words.c_str());
  }

  void TellRun(const std::vector<std::u16string>& arguments, const RunResult& run) const {
    if (!tell_) return;
    std::string words = "run";
    for (const std::u16string& argument : arguments)
      words += " " + ToUtf8(argument);
    Tell(words);
    for (const model::ConsoleWrite& write : run.console)
      std::printf("  %s %s", write.error ? "err" : "out", ToUtf8(write.text).c_str());
    std::printf("  status %d after %llu calls%s\n", run.status,
                static_cast<unsigned long long>(run.callCount), run.killed ? ", killed" : "");
  }

  void Report(const Violations& found) {
    for (const std::string& violation : found)
      Tell("  broken: " + violation);
    found_.insert(found_.end(), found.begin(), found.end());
  }

  void Expect(bool holds, const char* what) {
    if (!holds) Report({std::string("not so: ") + what});
  }

  int Run(Command command, const std::vector<std::u16string>& arguments) {
    const Machine before = machine_;
    RunOptions options;
    options.logCalls = false;
    options.faults = BusyMachine();
    for (const PlannedFault& fault : armed_)
      options.faults.push_back(ToFault(fault, before));
    armed_.clear();
    RunResult run = RunCommand(machine_, arguments, options);
    const auto judge = GetsUsage(arguments) ? JudgeUsage : JudgeAged;
    Violations found = judge({command, before, machine_, run, options.faults});
    if (!found.empty()) {  // some excuses are visible only in the call log
      machine_ = before;
      options.logCalls = true;
      run = RunCommand(machine_, arguments, options);
      found = judge({command, before, machine_, run, options.faults});
    }
    TellRun(arguments, run);
    Report(found);
    return run.killed ? -1 : run.status;
  }

  int RunLine(Command command) { return Run(command, LineOf(command).arguments); }

  /// Whatever a crash or a failure left hidden, resume-endpoints shows again where the driver can.
  /// A driver that lied to a run may still count its lease as given.
  void CheckHiddenCanBeShown() {
    const model::Device* root = OnlyPresentRoot(machine_);
    if (root == nullptr || root->hidden.empty() || !model::IsStarted(*root) || !root->resident) {
      return;
    }
    const model::DriverImage sound = model::SoundImage(ToUtf16(ResidentVersion(machine_)));
    if (!(*root->resident == sound) || root->leaseHeld) return;
    Machine copy = machine_;
    const RunResult run = RunCommand(copy, LineOf(Command::ResumeEndpoints).arguments);
    const model::Device* after = OnlyPresentRoot(copy);
    Expect(run.status == 0 && after != nullptr && after->hidden.empty(),
           "resume-endpoints shows what is hidden");
  }

  Machine machine_;
  bool tell_;
  std::vector<PlannedFault> armed_;
  Violations found_;
};

Violations Live(const Life& life, bool tell) {
  Living living(life, tell);
  for (const LifeStep& step : life.steps) {
    living.Take(step);
    if (!living.Found().empty()) return living.Found();
  }
  living.End();
  return living.Found();
}

}  // namespace
}  // namespace life

void FuzzLife(std::span<const std::uint8_t> input) {
  const Life life = ParseLife(input);
  const Violations found = life::Live(life, tellLives);
  if (found.empty()) return;
  if (!tellLives) life::Live(life, true);
  std::fflush(stdout);
  for (const std::string& violation : found)
    std::fprintf(stderr, "broken: %s\n", violation.c_str());
  Require(false, "a life");
}

}  // namespace vorn::tests

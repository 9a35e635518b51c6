#include "tests/adversaries/attack_run.h"

#include "tests/support/sample.h"

#include <map>
#include <optional>
#include <stdexcept>

namespace vorn::tests {

using namespace platform::simulated;

namespace {

/// An act of somebody else before each call of that name, or before every call.
Fault Before(std::string call, std::function<void(Machine&)> change) {
  Fault fault;
  fault.call = std::move(call);
  fault.last = kEveryLaterCall;
  fault.kind = FaultKind::Change;
  fault.change = std::move(change);
  return fault;
}

Fault AtMoment(std::uint64_t moment, std::function<void(Machine&)> change) {
  Fault fault = Before("*", std::move(change));
  fault.first = fault.last = static_cast<std::uint32_t>(moment);
  return fault;
}

/// Calls at which the INF in a private snapshot is complete and not yet deleted.
constexpr const char* kLooks[] = {"FlushFileBuffers", "SetupOpenInfFileW", "BCryptFinishHash",
                                  "UpdateDriverForPlugAndPlayDevicesW", "SetupUninstallOEMInfW"};

/// What the journal's path leads to.
struct JournalPlace {
  std::optional<NodeId> folder;
  std::optional<NodeId> file;
  std::map<std::u16string, std::u16string> letters;

  friend bool operator==(const JournalPlace&, const JournalPlace&) = default;
};

JournalPlace JournalPlaceOf(const Machine& machine) {
  return {FindNode(machine.files, u"C:\\pkg"), FindNode(machine.files, kSampleJournal),
          machine.files.dosDevices};
}

Machine Prepared(const Attack& attack, Job job) {
  Machine machine = MachineFor(job);
  if (attack.prepare) attack.prepare(machine);
  return machine;
}

std::vector<std::string> NamesOf(const RunResult& run) {
  if (run.calls.size() != run.callCount) throw std::logic_error("a call is missing in the log");
  std::vector<std::string> names;
  for (const CallRecord& call : run.calls)
    names.push_back(call.name);
  return names;
}

}  // namespace

AttackedCommand::AttackedCommand(const Attack& attack, Job job)
    : attack_(attack), job_(job), judge_(job, attack.statePath, Prepared(attack, job)) {
  const auto listCalls = [&] {
    Machine machine = judge_.Before();
    return NamesOf(RunOn(machine, {}));
  };
  const bool usual =
      !attack.prepare && attack.infPath == kSampleInf && attack.statePath == kSampleJournal;
  if (!usual) {
    calls_ = listCalls();
    return;
  }
  static std::map<Job, std::vector<std::string>> usualCalls;
  const auto known = usualCalls.find(job);
  calls_ = known != usualCalls.end() ? known->second
                                     : usualCalls.emplace(job, listCalls()).first->second;
}

RunResult AttackedCommand::RunOn(Machine& machine, const RunOptions& options) const {
  return RunCommand(machine, CommandLine(job_, attack_.infPath, attack_.statePath), options);
}

std::vector<std::uint64_t> AttackedCommand::MomentsThatLetItHappen(
    const std::vector<std::uint64_t>& moments) const {
  std::vector<std::uint64_t> acting;
  RunOptions options;
  options.logCalls = false;
  std::size_t next = 0;
  options.faults.push_back(Before("*", [&](const Machine& now) {
    if (next == moments.size() || Process::Current().callCount != moments[next]) return;
    Machine copy = now;
    Attacker user(copy);
    if (attack_.strike(user)) acting.push_back(moments[next]);
    ++next;
  }));
  Machine machine = judge_.Before();
  RunOn(machine, options);
  return acting;
}

AttackedRun AttackedCommand::Run(std::uint64_t moment, bool log) const {
  Machine machine = judge_.Before();
  AttackedRun run;
  SnapshotWatch watch;
  bool journalTouched = false;
  RunOptions options;
  options.logCalls = log;
  for (const char* call : kLooks) {
    options.faults.push_back(Before(call, [&](const Machine& now) { watch.Look(now.files); }));
  }
  if (moment != 0 && attack_.follow) {
    options.faults.push_back(Before("*", [&](Machine& now) {
      Attacker user(now);
      if (run.acted) attack_.follow(user);
    }));
  }
  if (moment != 0) {
    options.faults.push_back(AtMoment(moment, [&](Machine& now) {
      const JournalPlace place = JournalPlaceOf(now);
      Attacker user(now);
      run.acted = attack_.strike(user);
      journalTouched = place != JournalPlaceOf(now);
      // Nothing happened, so the rest of the run is the same as without the strike.
      if (!run.acted) Process::Current().Kill();
    }));
  }
  run.result = RunOn(machine, options);
  if (!run.acted && moment != 0) return run;
  run.violations = judge_.Judge({machine, run.result, watch, moment != 0, journalTouched});
  return run;
}

}  // namespace vorn::tests

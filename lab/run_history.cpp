#include "lab/run_history.h"

#include "base/text.h"
#include "lab/run_phases.h"

#include <algorithm>

namespace vorn::lab {

using platform::simulated::CallRecord;
using platform::simulated::Fault;

namespace {

/// Keeps the machine at each change.
class Watch {
 public:
  Watch(const platform::simulated::Machine& machine, const std::vector<std::string>& arguments)
      : machine_(machine), began_(machine.clock.tick), taker_(JournalNameOf(arguments)) {
    Look(0);
  }

  void Look(std::size_t call) {
    MachineGlance glance = taker_.Take(machine_);
    if (!moments_.empty() && moments_.back().machine == glance) return;
    moments_.push_back({{call, machine_.clock.tick - began_}, std::move(glance)});
  }

  std::vector<HistoryMoment> Moments() && { return std::move(moments_); }

 private:
  const platform::simulated::Machine& machine_;
  std::uint64_t began_;
  GlanceTaker taker_;
  std::vector<HistoryMoment> moments_;
};

HistoryLine LineOf(const ConsolePiece& piece) {
  std::string text = piece.text;
  if (text.ends_with('\n')) text.pop_back();
  return {piece.error ? HistoryLine::Kind::Error : HistoryLine::Kind::Output,
          {piece.call, piece.milliseconds},
          std::move(text)};
}

bool WasReached(const StagedFault& staged, const ProgramRun& run) {
  return std::none_of(run.remarks.begin(), run.remarks.end(), [&](const std::string& remark) {
    return remark.starts_with("--fault " + staged.spec + ": was never reached");
  });
}

/// A line for each fault, at the first call that it hits.
void AddFaults(const std::vector<StagedFault>& faults, const ProgramRun& run, RunHistory& history) {
  const std::vector<CallRecord>& calls = run.calls;
  for (const StagedFault& staged : faults) {
    if (!WasReached(staged, run)) continue;
    const Fault& fault = staged.fault;
    std::uint64_t seen = 0;
    std::size_t call = 0;
    while (call < calls.size() && seen < fault.first) {
      if (fault.call == "*" || fault.call == calls[call].name) ++seen;
      if (seen < fault.first) ++call;
    }
    // Only the call that ended the process is in no log.
    const std::uint64_t begin = call == 0 ? 0 : history.callEnds[call - 1];
    history.lines.push_back({HistoryLine::Kind::Fault, {call, begin}, staged.spec});
  }
  std::stable_sort(history.lines.begin(), history.lines.end(),
                   [](const HistoryLine& left, const HistoryLine& right) {
                     return left.at.call < right.at.call;
                   });
}

/// The call that ended the process took no part in the log: what is known of it is the fault.
void AddFatalCall(const std::vector<StagedFault>& faults, ProgramRun& run, std::uint64_t tick) {
  for (const StagedFault& staged : faults) {
    const Fault& fault = staged.fault;
    const bool before = fault.kind == platform::simulated::FaultKind::KillBefore ||
                        fault.kind == platform::simulated::FaultKind::Hang;
    if (!run.killed || !before || fault.call == "*" || !WasReached(staged, run)) continue;
    CallRecord call;
    call.name = fault.call;
    call.tick = tick;
    run.calls.push_back(std::move(call));
    return;
  }
}

}  // namespace

RunHistory RunWithHistory(LabMachine& lab, const std::vector<std::string>& arguments,
                          const std::vector<StagedFault>& faults, ProgramRun& run) {
  const std::uint64_t began = lab.machine.clock.tick;
  Watch watch(lab.machine, arguments);
  run = RunProgram(lab, arguments, faults, true, [&watch](std::size_t call) { watch.Look(call); });
  AddFatalCall(faults, run, lab.machine.clock.tick);
  watch.Look(run.calls.empty() ? 0 : run.calls.size() - 1);

  RunHistory history;
  history.arguments = arguments;
  history.milliseconds = run.milliseconds;
  if (!run.killed) history.status = run.result.status;
  for (const CallRecord& call : run.calls) {
    history.callNames.push_back(call.name);
    history.callEnds.push_back(call.tick - began);
  }
  for (const ConsolePiece& piece : run.result.console)
    history.lines.push_back(LineOf(piece));
  AddFaults(faults, run, history);
  history.moments = std::move(watch).Moments();
  history.phases = PhasesOf(arguments, run.calls, !run.killed);
  for (HistoryPhase& phase : history.phases) {
    const std::size_t end = phase.firstCall + phase.calls;
    phase.begins = history.BeginOf(phase.firstCall);
    phase.ends = end == history.callEnds.size() ? run.milliseconds : history.BeginOf(end);
  }
  return history;
}

}  // namespace vorn::lab

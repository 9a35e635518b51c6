#include "platform/simulated/fault_plan.h"

#include "platform/simulated/process.h"

namespace vorn::platform::simulated {

namespace {

constexpr std::uint32_t kDeadProcessError = ERROR_INVALID_HANDLE;

/// Ours: somebody waits this long for a call that does not return.
constexpr std::uint64_t kHangMs = 3'600'000;

bool Hits(const Fault& fault, std::string_view name, std::uint64_t nthOfName, std::uint64_t nth) {
  const bool any = fault.call == "*";
  if (!any && fault.call != name) return false;
  const std::uint64_t number = any ? nth : nthOfName;
  return number >= fault.first && number <= fault.last;
}

void Apply(Fault& fault, Process& process, Verdict& verdict) {
  switch (fault.kind) {
    case FaultKind::Fail:
      verdict.run = false;
      verdict.error = fault.error;
      break;
    case FaultKind::FailAfterEffect:
      verdict.error = fault.error;
      break;
    case FaultKind::SucceedWithoutEffect:
      verdict.run = false;
      verdict.pretendSuccess = true;
      break;
    case FaultKind::Short:
      verdict.faults.CutTo(fault.amount);
      verdict.spoils = &fault;
      break;
    case FaultKind::Long:
      verdict.faults.AppendTo(fault.amount);
      verdict.spoils = &fault;
      break;
    case FaultKind::AskRestart:
      verdict.faults.AskRestart();
      verdict.spoils = &fault;
      break;
    case FaultKind::TakeTime:
      Advance(process.TheMachine(), fault.amount);
      break;
    case FaultKind::Change:
      if (fault.change) fault.change(process.TheMachine());
      break;
    case FaultKind::ChangeAfter:
      verdict.changeAfter = &fault;
      break;
    case FaultKind::AnswerFromPast:
      if (process.past == nullptr) process.past = std::make_unique<Machine>(*fault.past);
      verdict.fromPast = true;
      break;
    case FaultKind::KillBefore:
      process.Kill();
      verdict = DeadVerdict();
      break;
    case FaultKind::KillAfter:
      verdict.killAfter = true;
      break;
    case FaultKind::Hang:
      Advance(process.TheMachine(), kHangMs);
      process.Kill();
      verdict = DeadVerdict();
      break;
  }
}

}  // namespace

Verdict DeadVerdict() {
  Verdict verdict;
  verdict.run = false;
  verdict.error = kDeadProcessError;
  return verdict;
}

void ApplyFaults(Process& process, std::string_view name, std::uint32_t nthOfName,
                 Verdict& verdict) {
  for (Fault& fault : process.faults) {
    if (process.killed) break;
    if (!Hits(fault, name, nthOfName, process.callCount)) continue;
    ++fault.hits;
    Apply(fault, process, verdict);
  }
}

}  // namespace vorn::platform::simulated

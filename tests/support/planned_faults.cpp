#include "tests/support/planned_faults.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace vorn::tests {

using platform::simulated::CallRecord;
using platform::simulated::Fault;
using platform::simulated::FaultKind;
using platform::simulated::Machine;
using platform::simulated::Process;

Fault FailingCall(std::string_view name, std::uint32_t error, std::uint32_t nth) {
  Fault fault;
  fault.call = name;
  fault.first = nth;
  fault.last = nth;
  fault.error = error;
  return fault;
}

Fault AlwaysFailingCall(std::string_view name, std::uint32_t error) {
  Fault fault = FailingCall(name, error);
  fault.last = platform::simulated::kEveryLaterCall;
  return fault;
}

Fault ChangeBefore(std::string_view name, std::uint32_t nth, std::function<void(Machine&)> change) {
  Fault fault = FailingCall(name, 0, nth);
  fault.kind = FaultKind::Change;
  fault.change = std::move(change);
  return fault;
}

Fault FailingAfterEffect(std::string_view name, std::uint32_t error, std::uint32_t nth) {
  Fault fault = FailingCall(name, error, nth);
  fault.kind = FaultKind::FailAfterEffect;
  return fault;
}

Fault SlowCall(std::string_view name, std::uint64_t milliseconds, std::uint32_t nth) {
  Fault fault = FailingCall(name, 0, nth);
  fault.kind = FaultKind::TakeTime;
  fault.amount = milliseconds;
  return fault;
}

Fault LyingCall(std::string_view name, std::uint32_t nth) {
  Fault fault = FailingCall(name, 0, nth);
  fault.kind = FaultKind::SucceedWithoutEffect;
  return fault;
}

std::vector<CallRecord> CallsOf(const Process& process, std::string_view name) {
  std::vector<CallRecord> found;
  std::copy_if(process.calls.begin(), process.calls.end(), std::back_inserter(found),
               [name](const CallRecord& call) { return call.name == name; });
  return found;
}

std::vector<std::string> CallNames(const Process& process) {
  std::vector<std::string> names;
  for (const CallRecord& call : process.calls)
    names.push_back(call.name);
  return names;
}

}  // namespace vorn::tests

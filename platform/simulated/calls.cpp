#include "platform/simulated/calls.h"

#include "base/text.h"
#include "platform/simulated/guid_text.h"
#include "platform/simulated/process.h"

#include <cstdio>

namespace vorn::platform::simulated {

std::string CallRecord::Argument(std::string_view argumentName) const {
  for (const auto& [key, value] : arguments) {
    if (key == argumentName) return value;
  }
  return {};
}

std::size_t CallCounts::PlaceOf(std::string_view name) const {
  std::size_t place = name.size();
  for (const std::size_t at : {name.size() - 1, name.size() * 3 / 4, name.size() / 2})
    place = place * 31 + static_cast<unsigned char>(name[at]);
  for (place %= kPlaces; !counts_[place].first.empty(); place = (place + 1) % kPlaces) {
    if (counts_[place].first == name) break;
  }
  return place;
}

std::uint32_t& CallCounts::operator[](std::string_view name) {
  Count& count = counts_[PlaceOf(name)];
  count.first = name;
  return count.second;
}

const CallCounts::Count* CallCounts::find(std::string_view name) const {
  if (name.empty()) return nullptr;
  const Count& count = counts_[PlaceOf(name)];
  return count.first.empty() ? nullptr : &count;
}

std::string RenderNumber(std::uint64_t value) {
  return std::to_string(value);
}
std::string RenderSigned(std::int64_t value) {
  return std::to_string(value);
}

std::string RenderText(const char16_t* text) {
  return text == nullptr ? "null" : RenderText(std::u16string_view(text));
}

std::string RenderText(std::u16string_view text) {
  return ToUtf8(text);
}

std::string RenderGuid(const GUID& guid) {
  return ToUtf8(ToUpperAscii(GuidText(guid)));
}

std::string RenderObject(std::uintptr_t value) {
  if (value == 0) return "null";
  std::string text = "#";
  text += RenderNumber(value);
  return text;
}

std::vector<std::pair<std::string, std::string>> RenderAll(
    std::span<const NamedArgument> arguments) {
  std::vector<std::pair<std::string, std::string>> rendered;
  rendered.reserve(arguments.size());
  for (const NamedArgument& argument : arguments)
    rendered.emplace_back(argument.name, argument.render(argument.value));
  return rendered;
}

template <>
std::string RenderArgument(const Hex& value) {
  char text[20];
  std::snprintf(text, sizeof text, "0x%llX", static_cast<unsigned long long>(value.value));
  return text;
}

namespace {

/// Ours: every call of a killed process fails, so that the program unwinds and nothing of it
/// reaches the machine.
constexpr std::uint32_t kDeadProcessError = ERROR_INVALID_HANDLE;

/// Ours: somebody waits this long for a call that does not return.
constexpr std::uint64_t kHangMs = 3'600'000;

Verdict DeadVerdict() {
  Verdict verdict;
  verdict.run = false;
  verdict.error = kDeadProcessError;
  return verdict;
}

bool Hits(const Fault& fault, std::string_view name, std::uint64_t nthOfName, std::uint64_t nth) {
  const bool any = fault.call == "*";
  if (!any && fault.call != name) return false;
  const std::uint64_t number = any ? nth : nthOfName;
  return number >= fault.first && number <= fault.last;
}

void Apply(const Fault& fault, Process& process, Verdict& verdict) {
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
      verdict.faults.shortTo = fault.amount;
      break;
    case FaultKind::Long:
      verdict.faults.longBy = fault.amount;
      break;
    case FaultKind::AskRestart:
      verdict.faults.askRestart = true;
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

/// Swaps the parts of the machine that a stale answer is about with those of the past. Files and
/// time stay.
void SwapWithPast(Process& process) {
  Machine& machine = process.TheMachine();
  Machine& past = *process.past;
  std::swap(machine.devices, past.devices);
  std::swap(machine.registry, past.registry);
  std::swap(machine.store, past.store);
  std::swap(machine.audio, past.audio);
}

}  // namespace

Verdict EnterCall(std::string_view name) {
  Process& process = Process::Current();
  if (process.killed) return DeadVerdict();
  const std::uint64_t nth = ++process.callCount;
  const std::uint32_t nthOfName = ++process.callCounts[name];
  Verdict verdict;
  for (Fault& fault : process.faults) {
    if (process.killed) break;
    if (!Hits(fault, name, nthOfName, nth)) continue;
    ++fault.hits;
    Apply(fault, process, verdict);
  }
  if (process.killed) return verdict;
  RunDueEvents(process.TheMachine());
  if (verdict.fromPast) SwapWithPast(process);
  return verdict;
}

void LeaveCall(const Verdict& verdict, CallRecord* record) {
  Process& process = Process::Current();
  if (verdict.fromPast && !process.killed) SwapWithPast(process);
  if (verdict.changeAfter != nullptr && !process.killed) {
    verdict.changeAfter->change(process.TheMachine());
  }
  if (record != nullptr && !process.killed) {
    record->lastError = process.lastError;
    record->tick = process.TheMachine().clock.tick;
    process.calls.push_back(std::move(*record));
  }
  Process::NoteChange();
  if (verdict.killAfter) process.Kill();
}

bool IsLogging() {
  return Process::Current().logCalls;
}

bool FailWith(std::uint32_t error) {
  SetLastError(error);
  return false;
}

}  // namespace vorn::platform::simulated

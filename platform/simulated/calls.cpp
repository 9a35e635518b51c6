#include "platform/simulated/calls.h"

#include "base/text.h"
#include "platform/simulated/fault_plan.h"
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
  const std::size_t size = name.size();
  const auto letter = [name](std::size_t at) { return static_cast<unsigned char>(name[at]); };
  std::size_t place = (size * 31 + letter(size - 1)) * 31 + letter(size * 3 / 4);
  for (place = (place * 31 + letter(size / 2)) % kPlaces;; place = (place + 1) % kPlaces) {
    const std::string_view there = counts_[place].first;
    // A call is nearly always counted under the same literal.
    if (there.data() == name.data() && there.size() == size) return place;
    if (there.empty() || there == name) return place;
  }
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

/// Swaps the parts of the machine that a stale answer is about with those of the past. Ours: files
/// and time stay.
void SwapWithPast(Process& process) {
  Machine& machine = process.TheMachine();
  Machine& past = *process.past;
  std::swap(machine.devices, past.devices);
  std::swap(machine.registry, past.registry);
  std::swap(machine.store, past.store);
  std::swap(machine.audio, past.audio);
}

void Log(CallRecord& record, Process& process) {
  record.lastError = process.lastError;
  record.tick = process.TheMachine().clock.tick;
  process.calls.push_back(std::move(record));
}

}  // namespace

Verdict EnterCall(std::string_view name) {
  Process& process = Process::Current();
  if (process.killed) return DeadVerdict();
  ++process.callCount;
  if (process.RanAway()) {
    process.Kill();
    return DeadVerdict();
  }
  const std::uint32_t nthOfName = ++process.callCounts[name];
  Verdict verdict;
  if (!process.faults.empty()) ApplyFaults(process, name, nthOfName, verdict);
  if (process.killed) return verdict;
  RunDueEvents(process.TheMachine());
  if (verdict.fromPast) SwapWithPast(process);
  return verdict;
}

void LeaveCall(const Verdict& verdict, CallRecord* record) {
  Process& process = Process::Current();
  if (verdict.fromPast && !process.killed) SwapWithPast(process);
  if (verdict.spoils != nullptr && !verdict.faults.HaveSpoiled()) ++verdict.spoils->vain;
  if (verdict.changeAfter != nullptr && !process.killed) {
    verdict.changeAfter->change(process.TheMachine());
  }
  if (record != nullptr && !process.killed) Log(*record, process);
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

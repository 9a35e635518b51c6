#include "platform/clock.h"

#include "platform/simulated/clock.h"
#include "platform/simulated/endpoint_builder.h"
#include "platform/simulated/process.h"

#include <algorithm>
#include <limits>

namespace vorn::platform {

namespace simulated {

namespace {

/// Ours: time passes in a killed process until it ends; only its own clock runs.
constexpr std::uint64_t kDeadProcessTick = 3'600'000;

void Happen(Machine& machine, const Event& event) {
  switch (event.kind) {
    case EventKind::StartDevice:
      StartDevice(machine, event.subject);
      break;
    case EventKind::RemoveDevice:
    case EventKind::AnnounceReplug:
      RemoveDeviceNode(machine, event.subject);
      break;
    case EventKind::PublishEndpoints:
      PublishEndpoints(machine, event.subject);
      break;
    case EventKind::PublishLateEndpoints:
      PublishLateEndpoints(machine, event.subject);
      break;
    case EventKind::PublishEndpointChildren:
      PublishEndpointChildren(machine, event.subject);
      break;
    case EventKind::WithdrawEndpoints:
      WithdrawEndpoints(machine, event.subject);
      break;
    case EventKind::IdleEndpointRecords:
      IdleEndpointRecords(machine, event.subject);
      break;
  }
}

/// The tick at which something happens next; kNever when nothing does.
std::uint64_t NextTick(const Machine& machine) {
  const auto& events = machine.clock.events;
  return std::min(machine.files.nextRelease, events.empty() ? kNever : events.front().due);
}

}  // namespace

std::uint64_t TickIn(const Machine& machine, std::uint64_t milliseconds) {
  constexpr std::uint64_t kLastTick = std::numeric_limits<std::uint64_t>::max();
  return machine.clock.tick + std::min(milliseconds, kLastTick - machine.clock.tick);
}

void Plan(Machine& machine, std::uint64_t delay, EventKind kind, std::u16string subject) {
  Event event{TickIn(machine, delay), kind, std::move(subject)};
  auto& events = machine.clock.events;
  const auto later = [](const Event& left, const Event& right) { return left.due < right.due; };
  events.insert(std::upper_bound(events.begin(), events.end(), event, later), event);
}

void RunDueEvents(Machine& machine) {
  auto& clock = machine.clock;
  if (NextTick(machine) > clock.tick) return;
  if (clock.tick >= machine.files.nextRelease) ReleaseHoldsUntil(machine.files, clock.tick);
  while (!clock.events.empty() && clock.events.front().due <= clock.tick) {
    const Event event = clock.events.front();
    clock.events.erase(clock.events.begin());
    Happen(machine, event);
    Process::NoteChange();
  }
}

void Advance(Machine& machine, std::uint64_t milliseconds) {
  auto& clock = machine.clock;
  const std::uint64_t end = TickIn(machine, milliseconds);
  RunDueEvents(machine);
  while (!clock.events.empty() && clock.events.front().due <= end) {
    clock.tick = clock.events.front().due;
    RunDueEvents(machine);
  }
  clock.tick = end;
  ReleaseHoldsUntil(machine.files, end);
}

}  // namespace simulated

namespace {

/// Days since 1970-01-01 to year, month (1-12) and day (1-31) of the Gregorian calendar.
struct Date {
  std::int64_t year;
  std::int64_t month;
  std::int64_t day;
};

Date ToDate(std::int64_t days) {
  // Counts in 400-year eras that start on 1 March, so that leap days come last.
  days += 719468;
  const std::int64_t era = days / 146097;
  const std::int64_t dayOfEra = days - era * 146097;
  const std::int64_t yearOfEra =
      (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const std::int64_t shiftedMonth = (5 * dayOfYear + 2) / 153;
  const std::int64_t day = dayOfYear - (153 * shiftedMonth + 2) / 5 + 1;
  const std::int64_t month = shiftedMonth < 10 ? shiftedMonth + 3 : shiftedMonth - 9;
  return {yearOfEra + era * 400 + (month <= 2 ? 1 : 0), month, day};
}

}  // namespace

std::uint64_t GetTickCount64() {
  simulated::Process& process = simulated::Process::Current();
  if (process.killed) {
    process.deadTicks += simulated::kDeadProcessTick;
    return process.TheMachine().clock.tick + process.deadTicks;
  }
  simulated::SimulateBool("GetTickCount64", simulated::Arguments(),
                          [](const simulated::CallFaults&) { return true; });
  return process.TheMachine().clock.tick;
}

void Sleep(std::uint32_t milliseconds) {
  simulated::SimulateBool("Sleep", simulated::Arguments("milliseconds", milliseconds),
                          [&](const simulated::CallFaults&) {
                            Advance(simulated::Process::Current().TheMachine(), milliseconds);
                            return true;
                          });
}

void GetSystemTime(SYSTEMTIME* time) {
  simulated::SimulateBool(
      "GetSystemTime", simulated::Arguments(), [&](const simulated::CallFaults&) {
        const auto& clock = simulated::Process::Current().TheMachine().clock;
        const auto now = static_cast<std::int64_t>(clock.utcAtTickZero + clock.tick);
        const std::int64_t days = now / 86'400'000;
        const std::int64_t rest = now % 86'400'000;
        const Date date = ToDate(days);
        const auto word = [](std::int64_t value) { return static_cast<std::uint16_t>(value); };
        *time = {word(date.year),        word(date.month),       word((days + 4) % 7),
                 word(date.day),         word(rest / 3'600'000), word(rest / 60'000 % 60),
                 word(rest / 1000 % 60), word(rest % 1000)};
        return true;
      });
}

}  // namespace vorn::platform

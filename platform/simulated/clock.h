#pragma once

// The simulated machine's time. Nothing waits: Sleep moves the clock, and an event planned for a
// tick happens when the clock passes it.

#include <cstdint>
#include <string>
#include <vector>

namespace vorn::platform::simulated {

struct Machine;

enum class EventKind {
  StartDevice,              // the device's driver finishes starting
  RemoveDevice,             // the device node disappears
  PublishEndpoints,         // the endpoint builder publishes the device's endpoints
  PublishLateEndpoints,     // publishes the endpoints that come later
  PublishEndpointChildren,  // the endpoints' PnP children appear
  WithdrawEndpoints,        // the device's endpoints vanish while it runs
  IdleEndpointRecords,      // the endpoints' records change to "not present"
  AnnounceReplug,           // the device leaves the tree, unasked
};

/// Something that happens to `subject` (a device instance id) when the clock reaches `due`.
struct Event {
  std::uint64_t due = 0;  // tick in milliseconds
  EventKind kind = EventKind::StartDevice;
  std::u16string subject;

  friend bool operator==(const Event&, const Event&) = default;
};

struct Clock {
  std::uint64_t tick = 3'600'000;                   // milliseconds since the machine started
  std::uint64_t utcAtTickZero = 1'767'225'600'000;  // milliseconds since 1970, UTC
  std::vector<Event> events;                        // in order of due, then of planning

  friend bool operator==(const Clock&, const Clock&) = default;
};

/// The tick so many milliseconds from now; the last one there is, when that is beyond it.
std::uint64_t TickIn(const Machine& machine, std::uint64_t milliseconds);

/// Plans an event `delay` milliseconds from now.
void Plan(Machine& machine, std::uint64_t delay, EventKind kind, std::u16string subject);

/// Moves the clock. Every event that falls due happens at its own tick, in order.
void Advance(Machine& machine, std::uint64_t milliseconds);

/// Runs every event that is due now.
void RunDueEvents(Machine& machine);

}  // namespace vorn::platform::simulated

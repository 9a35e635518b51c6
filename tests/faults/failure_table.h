#pragma once

// How each platform call can go wrong: its documented errors, answers that are too short or too
// long, restart requests, and lies.

#include "platform/simulated/calls.h"

#include <string>
#include <string_view>
#include <vector>

namespace vorn::tests {

/// One way of going wrong. Where, and for how many calls, is not part of it.
struct Way {
  platform::simulated::FaultKind kind = platform::simulated::FaultKind::Fail;
  std::uint32_t error = 0;
  std::uint64_t amount = 0;
  // For Change and ChangeAfter the name of the other process's act; for a crash the name of the
  // operator's next act.
  std::string change;
};

/// The honest failures of a call: errors, short answers, restart requests, delays. Empty for calls
/// that cannot fail.
std::vector<Way> HonestWays(std::string_view call);

/// The lies of a call that changes the machine: success without effect, an error after the effect,
/// a slow or delayed effect, a different effect.
std::vector<Way> LyingWays(std::string_view call);

/// The lie of a call that reads devices, packages, endpoints or the registry: a stale answer, from
/// the start of the run. Empty for other calls.
std::vector<Way> StaleWays(std::string_view call);

/// Whether that failure may repeat. Errors that only end an enumeration may not, and another
/// process acts once.
bool MayPersist(const Way& way);

}  // namespace vorn::tests

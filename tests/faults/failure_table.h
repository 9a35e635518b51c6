#pragma once

// How each platform call can go wrong: the errors that its documentation names, answers that are
// cut or too long, requests for a restart, and lies.

#include "platform/simulated/calls.h"

#include <string>
#include <string_view>
#include <vector>

namespace vorn::tests {

/// One way of going wrong; where and for how long is not part of it.
struct Way {
  platform::simulated::FaultKind kind = platform::simulated::FaultKind::Fail;
  std::uint32_t error = 0;
  std::uint64_t amount = 0;
  // Name of what somebody else does, for Change and ChangeAfter; of what the operator does next,
  // for a crash.
  std::string change;
};

/// The honest failures of a call: errors, cut answers, restart requests, and time. Empty for calls
/// that cannot fail.
std::vector<Way> HonestWays(std::string_view call);

/// The lies of a call that changes the world: success without effect, effect with an error, a slow
/// or a late effect, another effect than was asked for.
std::vector<Way> LyingWays(std::string_view call);

/// The lie of a call that looks at devices, packages, endpoints or the registry: the answer of when
/// the run began. Empty for the others.
std::vector<Way> StaleWays(std::string_view call);

/// Whether a failure of that call may last: the errors that only say "there is no more" may not,
/// and what somebody else does is done once.
bool MayPersist(const Way& way);

}  // namespace vorn::tests

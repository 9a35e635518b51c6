#pragma once

// Whether a run makes a call again that has failed. The program leaves a refusal to whoever runs
// it; only its waits look again, and those sleep in between.

#include "platform/simulated/calls.h"

#include <cstddef>
#include <string>
#include <vector>

namespace vorn::tests {

/// The calls of a run, as far as equal ones are told from others.
struct MadeCalls {
  /// A hash of each call's name and arguments. In place of an open object stands the call that
  /// returned it, because its number depends on what was opened before.
  std::vector<std::size_t> hashes;
  std::size_t sleeps = 0;
};

MadeCalls MadeCallsOf(const std::vector<platform::simulated::CallRecord>& calls);

/// The name and the arguments, for messages.
std::string TextOf(const platform::simulated::CallRecord& call);

/// Whether the disturbed run, in which the call at that place failed, made it oftener than the
/// undisturbed run did, without sleeping oftener.
bool IsMadeAgain(const MadeCalls& undisturbed, const MadeCalls& disturbed, std::size_t failed);

}  // namespace vorn::tests

#pragma once

// Whether a run makes a call again that has failed. The program leaves a refusal to whoever runs
// it; only its waits look again, and those sleep in between.

#include "platform/simulated/calls.h"

#include <cstddef>
#include <string>
#include <vector>

namespace vorn::tests {

/// Each call with its arguments. In place of an open object stands the call that returned it,
/// because its number depends on what was opened before.
std::vector<std::string> TextsOf(const std::vector<platform::simulated::CallRecord>& calls);

/// Whether the disturbed run, in which the call at that place failed, made it oftener than the
/// undisturbed run did, without sleeping oftener. Both are texts of TextsOf.
bool IsMadeAgain(const std::vector<std::string>& undisturbed,
                 const std::vector<std::string>& disturbed, std::size_t failed);

}  // namespace vorn::tests

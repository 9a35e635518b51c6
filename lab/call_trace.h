#pragma once

// The call log as text, for --trace.

#include "platform/simulated/calls.h"

#include <string>
#include <vector>

namespace vorn::lab {

/// One line for each call: tick, name, arguments, result and last error. Line breaks in arguments
/// are written as \n.
std::string TraceText(const std::vector<platform::simulated::CallRecord>& calls);

}  // namespace vorn::lab

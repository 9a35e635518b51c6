#pragma once

// The fault plan of a process at work: what it makes of a call before the call's body runs.

#include "platform/simulated/calls.h"

#include <cstdint>
#include <string_view>

namespace vorn::platform::simulated {

class Process;

/// The verdict on every call of a dead process. Ours: all of them fail, so that the program unwinds
/// and nothing of it reaches the machine.
Verdict DeadVerdict();

/// Applies the faults that hit the call, the `nthOfName`th of its name and the last one counted.
void ApplyFaults(Process& process, std::string_view name, std::uint32_t nthOfName,
                 Verdict& verdict);

}  // namespace vorn::platform::simulated

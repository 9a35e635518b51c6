#pragma once

// Faults in one line, and the calls of a process.

#include "platform/simulated/calls.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/process.h"

#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

namespace vorn::tests {

/// A fault that makes the `nth` call of that name fail with `error`.
platform::simulated::Fault FailingCall(std::string_view name, std::uint32_t error,
                                       std::uint32_t nth = 1);

/// A fault that makes every call of that name fail.
platform::simulated::Fault AlwaysFailingCall(std::string_view name, std::uint32_t error);

/// Applies `change` to the machine just before the `nth` call of that name.
platform::simulated::Fault ChangeBefore(std::string_view name, std::uint32_t nth,
                                        std::function<void(platform::simulated::Machine&)> change);

/// The calls of that name, in order.
std::vector<platform::simulated::CallRecord> CallsOf(const platform::simulated::Process& process,
                                                     std::string_view name);

}  // namespace vorn::tests

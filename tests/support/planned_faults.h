#pragma once

// Faults in one line, and the calls of a process.

#include "platform/simulated/calls.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/process.h"

#include <cstdint>
#include <functional>
#include <string>
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

/// Makes the `nth` call of that name take effect, output included, and fail with `error` all the
/// same.
platform::simulated::Fault FailingAfterEffect(std::string_view name, std::uint32_t error,
                                              std::uint32_t nth = 1);

/// Makes the `nth` call of that name take that long.
platform::simulated::Fault SlowCall(std::string_view name, std::uint64_t milliseconds,
                                    std::uint32_t nth = 1);

/// Makes the `nth` call of that name claim success, with no effect and no output.
platform::simulated::Fault LyingCall(std::string_view name, std::uint32_t nth = 1);

/// The calls of that name, in order.
std::vector<platform::simulated::CallRecord> CallsOf(const platform::simulated::Process& process,
                                                     std::string_view name);

/// The names of all calls, in order.
std::vector<std::string> CallNames(const platform::simulated::Process& process);

}  // namespace vorn::tests

#pragma once

// Runs the same routine again and again, each time with another of its platform calls going wrong.

#include "platform/simulated/calls.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/process.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace vorn::tests {

/// For each platform call that `routine` makes on a copy of `start`, but for the console's: runs it
/// with a fault of that kind at that call, and lets `judge(process, machine, result)` look at what
/// came of it. What is left open is judged here. `routine` takes nothing and returns the result.
template <class Routine, class Judge>
void WithEachCallGoingWrong(const platform::simulated::Machine& start,
                            platform::simulated::FaultKind kind, Routine routine, Judge judge) {
  namespace model = platform::simulated;
  std::vector<model::CallRecord> calls;
  {
    model::Machine machine = start;
    model::Process process(machine);
    process.logCalls = true;
    routine();
    calls = process.calls;
  }
  ASSERT_FALSE(calls.empty());
  for (std::uint32_t nth = 1; nth <= calls.size(); ++nth) {
    const std::string& name = calls[nth - 1].name;
    if (name == "fputws") continue;
    SCOPED_TRACE("call " + std::to_string(nth) + ": " + name);
    model::Machine machine = start;
    model::Process process(machine);
    process.logCalls = true;
    model::Fault fault;
    fault.first = nth;
    fault.last = nth;
    fault.kind = kind;
    process.faults = {fault};
    const auto result = routine();
    judge(process, machine, result);
    // What cannot be given back stays open, and so does what a failing call hands out in secret.
    const bool keptByFault =
        name == "SetupDiDestroyDeviceInfoList" || name == "CloseHandle" || name == "fclose" ||
        (kind == model::FaultKind::FailAfterEffect && name == "SetupDiGetClassDevsW");
    for (const auto& [object, count] : process.OpenObjects()) {
      EXPECT_LE(count, keptByFault ? 1U : 0U) << static_cast<int>(object);
    }
  }
}

}  // namespace vorn::tests

#pragma once

// Runs a routine once for each of its platform calls, with a fault at that call.

#include "platform/simulated/calls.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/process.h"
#include "tests/support/console_calls.h"
#include "tests/support/repeated_calls.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::tests {

/// Whether a call only gives back what another one opened: what stays open when it fails is not the
/// program's fault.
inline bool GivesBack(std::string_view call) {
  for (const std::string_view name :
       {"SetupDiDestroyDeviceInfoList", "SetupCloseInfFile", "CloseHandle", "RegCloseKey", "fclose",
        "LocalFree", "BCryptDestroyHash", "BCryptCloseAlgorithmProvider"}) {
    if (call == name) return true;
  }
  return false;
}

/// For each platform call that `routine` makes on a copy of `start`, console writes excepted: runs
/// it with a fault of that kind at that call, and passes the outcome to `judge(process, machine,
/// result)`. Leaked objects are judged here, and unless the routine tries again, so is a failed
/// call that is made again. `routine` takes no arguments and returns the result.
template <class Routine, class Judge>
void WithEachCallGoingWrong(const platform::simulated::Machine& start,
                            platform::simulated::FaultKind kind, Routine routine, Judge judge,
                            bool triesAgain = false) {
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
  const MadeCalls undisturbed = MadeCallsOf(calls);
  for (std::uint32_t nth = 1; nth <= calls.size(); ++nth) {
    const std::string& name = calls[nth - 1].name;
    if (IsPrinting(name)) continue;
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
    EXPECT_TRUE(triesAgain || !IsMadeAgain(undisturbed, MadeCallsOf(process.calls), nth - 1));
    // An object stays open when its close fails, or when the call that failed had created it all
    // the same.
    const bool keptByFault = GivesBack(name) || (kind == model::FaultKind::FailAfterEffect &&
                                                 name == "SetupDiGetClassDevsW");
    for (const auto& [object, count] : process.OpenObjects()) {
      EXPECT_LE(count, keptByFault ? 1U : 0U) << static_cast<int>(object);
    }
  }
}

}  // namespace vorn::tests

#pragma once

// Runs one command as one process on a simulated machine, and keeps what it wrote and called.

#include "platform/simulated/calls.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/process.h"
#include "report/exit_status.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::tests {

/// How a run differs from the default: an elevated operator and no fault.
struct RunOptions {
  std::vector<platform::simulated::Fault> faults = {};
  bool logCalls = true;
  platform::simulated::Token token = {};
  bool standardOutputClosed = false;
  bool ntdllMissing = false;
  std::vector<std::string> missingExports = {};
};

struct RunResult {
  ExitStatus status = 0;
  // What came out of the process, as after its end: a killed one loses what it had not flushed.
  std::u16string output;                                   // standard output
  std::u16string errorOutput;                              // standard error
  std::vector<platform::simulated::ConsoleWrite> console;  // both, in the order written
  std::vector<platform::simulated::CallRecord> calls;      // when logCalls was set
  std::uint64_t callCount = 0;
  platform::simulated::CallCounts callCounts;
  // Number of objects left open, by kind; empty after a clean end.
  std::map<platform::simulated::ObjectKind, std::size_t> openObjects;
  bool killed = false;

  /// The calls of that name, in order.
  std::vector<platform::simulated::CallRecord> CallsOf(std::string_view name) const;

  /// Whether a call of that name was made.
  bool Called(std::string_view name) const;
};

/// Runs `vorn_devnode.exe` with these arguments (program name excluded) until the process ends. The
/// machine keeps what the run did to it.
RunResult RunCommand(platform::simulated::Machine& machine,
                     const std::vector<std::u16string>& arguments, const RunOptions& options = {});

}  // namespace vorn::tests

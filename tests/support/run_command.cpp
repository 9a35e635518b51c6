#include "tests/support/run_command.h"

#include "cli/dispatch.h"

#include <algorithm>
#include <iterator>

namespace vorn::tests {

using platform::simulated::CallRecord;
using platform::simulated::Machine;
using platform::simulated::Process;

std::vector<CallRecord> RunResult::CallsOf(std::string_view name) const {
  std::vector<CallRecord> found;
  std::copy_if(calls.begin(), calls.end(), std::back_inserter(found),
               [name](const CallRecord& call) { return call.name == name; });
  return found;
}

bool RunResult::Called(std::string_view name) const {
  return callCounts.find(name) != callCounts.end();
}

RunResult RunCommand(Machine& machine, const std::vector<std::u16string>& arguments,
                     const RunOptions& options) {
  Process process(machine);
  process.faults = options.faults;
  process.logCalls = options.logCalls;
  process.token = options.token;
  process.standardOutputClosed = options.standardOutputClosed;
  process.ntdllMissing = options.ntdllMissing;
  process.missingExports = options.missingExports;

  std::vector<std::u16string> commandLine = {u"vorn_devnode.exe"};
  commandLine.insert(commandLine.end(), arguments.begin(), arguments.end());

  RunResult result;
  result.status = cli::Run(commandLine);
  process.Return();
  result.output = process.Output();
  result.errorOutput = process.ErrorOutput();
  result.openObjects = process.OpenObjects();
  std::erase_if(result.openObjects, [](const auto& kind) { return kind.second == 0; });
  result.killed = process.killed;
  result.console = std::move(process.console);
  result.calls = std::move(process.calls);
  result.callCount = process.callCount;
  result.callCounts = std::move(process.callCounts);
  return result;
}

}  // namespace vorn::tests

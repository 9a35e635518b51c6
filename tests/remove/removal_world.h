#pragma once

// Whole runs of the command: the lines of a run, and what no run may change.

#include "platform/simulated/machine.h"
#include "tests/support/console_lines.h"
#include "tests/support/machine_view.h"
#include "tests/support/run_command.h"
#include "tests/support/sample.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::tests {

/// Runs "remove" on a machine.
RunResult Remove(platform::simulated::Machine& machine, const RunOptions& options = {},
                 const std::u16string& infPath = kSampleInf);

/// The lines that say that these records are removed.
Console RemovedRecordLines(const std::vector<std::u16string>& records);

/// The final line of a success.
ConsoleLine OkLine(int roots, int packages, std::size_t records, std::size_t retained = 0);

/// The removal log without its byte-order mark; "no file" when there is none.
std::string RemovalLogText(const platform::simulated::Machine& machine);

/// Publishes a further copy of a published package, byte for byte.
void CopyPackage(platform::simulated::Machine& machine, std::u16string_view published,
                 std::u16string_view copy);

/// What is wrong with a machine after a run that started from `before`, however the run ended;
/// empty when nothing is.
std::vector<std::string> BrokenPromises(const platform::simulated::Machine& before,
                                        const platform::simulated::Machine& after);

}  // namespace vorn::tests

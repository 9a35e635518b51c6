#pragma once

// Whole runs of the command: the transcript of a run, and what no run may change.

#include "platform/simulated/machine.h"
#include "tests/support/run_command.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::tests {

inline constexpr char16_t kInfArgument[] = u"C:\\pkg\\driver\\vorn_audio.inf";
inline constexpr char16_t kRemovalLogPath[] = u"C:\\pkg\\logs\\vorn_devnode.log";

/// Runs "remove" on a machine.
RunResult Remove(platform::simulated::Machine& machine, const RunOptions& options = {},
                 const std::u16string& infPath = kInfArgument);

/// The console's lines in the order written, each with "out: " or "err: " before it.
std::vector<std::string> Transcript(const RunResult& result);

/// The display paths of the records that carry the program's marker, in listing order.
std::vector<std::string> MarkedRecords(const platform::simulated::Machine& machine);

/// The lines that say that these records are removed.
std::vector<std::string> RemovedRecordLines(const std::vector<std::string>& records);

/// The final line of a success.
std::string OkLine(int roots, int packages, std::size_t records, std::size_t retained = 0);

/// The removal log without its byte-order mark; "no file" when there is none.
std::string RemovalLogText(const platform::simulated::Machine& machine);

/// Publishes a further copy of a published package, byte for byte.
void CopyPackage(platform::simulated::Machine& machine, std::u16string_view published,
                 std::u16string_view copy);

/// Instance ids of the installed roots, present or not.
std::vector<std::u16string> InstalledRootIds(const platform::simulated::Machine& machine);

/// What is wrong with a machine after a run that started from `before`, whatever became of the run;
/// nothing when all is as it must be.
std::vector<std::string> BrokenPromises(const platform::simulated::Machine& before,
                                        const platform::simulated::Machine& after);

}  // namespace vorn::tests

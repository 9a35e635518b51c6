#pragma once

// Runs that must be refused: the console, the status, and a machine that stays exactly as it was.

#include "platform/simulated/machine.h"
#include "tests/support/console_lines.h"
#include "tests/support/run_command.h"

#include <string>
#include <string_view>
#include <vector>

namespace vorn::tests {

using Arguments = std::vector<std::u16string>;

/// Runs the command on a copy of the machine. It must end with that status, write exactly these
/// lines, take no time, leave nothing open, and change nothing at all.
void ExpectRefused(const platform::simulated::Machine& machine, const Arguments& arguments,
                   ExitStatus status, const Console& console, const RunOptions& options = {});

/// A path that every command refuses.
struct BadPath {
  std::string name;
  std::u16string path;
};

/// Forms of a path that are refused before the file system is consulted; `path` is the valid form,
/// "C:\<folder>\...\<name>.<extension>".
std::vector<BadPath> BadFormsOf(std::u16string_view path);

}  // namespace vorn::tests

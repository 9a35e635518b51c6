#pragma once

// The command-line front end: selects the command, resolves and checks its paths, takes the private
// package snapshot if it reads an INF, and runs it.

#include "report/exit_status.h"

#include <string>
#include <vector>

namespace vorn::cli {

/// Runs the command in `arguments`, whose element 0 is the program's name, and returns the exit
/// status of the process. All state of the run has been released on return.
ExitStatus Run(const std::vector<std::u16string>& arguments);

}  // namespace vorn::cli

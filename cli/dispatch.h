#pragma once

// The command front end: picks exactly one command from the command line, resolves and checks the
// paths that it needs, takes the private package snapshot where the command reads an INF, and calls
// the command's routine.

#include "report/exit_status.h"

#include <string>
#include <vector>

namespace vorn::cli {

/// Runs the command that `arguments` name; element 0 is the program's own name. Returns the exit
/// status of the process. Prints nothing of its own but the usage text.
///
/// Everything that lives for the whole run (the removal log's place, the protected files, the
/// package snapshot) has been released when this returns.
ExitStatus Run(const std::vector<std::u16string>& arguments);

}  // namespace vorn::cli

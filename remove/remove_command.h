#pragma once

// The `remove` command: removes the audio devices, then their driver packages and endpoint records.
// It changes nothing unless the given INF is proven to be the product's, and removes no package
// while a device root remains.

#include "privileged_input/input_file.h"
#include "report/exit_status.h"
#include "report/removal_log.h"

#include <string>

namespace vorn {

/// Runs the command. `inf` is the protected copy of the INF; `commandLineInfPath`, the path on the
/// command line, only places `log`. Prints the result and returns the exit status.
ExitStatus RunRemove(const privileged_input::InputInf& inf,
                     const std::u16string& commandLineInfPath, RemovalLog& log);

}  // namespace vorn

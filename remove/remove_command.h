#pragma once

// The "remove" command: takes the audio device and its driver package off the machine, and touches
// nothing unless the INF that it is given is provably the exact package. No package goes while a
// device root remains, and no endpoint record goes whose owner is not proven.

#include "privileged_input/input_file.h"
#include "report/exit_status.h"
#include "report/removal_log.h"

#include <string>

namespace vorn {

/// Runs the command. `inf` is the protected copy of the INF, `commandLineInfPath` the path as
/// typed, which only places `log`. Prints the result and returns the exit status.
ExitStatus RunRemove(const privileged_input::InputInf& inf,
                     const std::u16string& commandLineInfPath, RemovalLog& log);

}  // namespace vorn

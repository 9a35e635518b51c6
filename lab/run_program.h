#pragma once

// One run of the program as one process on a machine.

#include "lab/command_line.h"
#include "lab/machine_folder.h"
#include "platform/simulated/calls.h"

#include <string>
#include <vector>

namespace vorn::lab {

struct ProgramRun {
  LabResult result;   // the program's own bytes and status
  std::string trace;  // one line for each call, when requested
};

/// Runs the program with these arguments (without its name). Afterwards the machine is as the run
/// left it.
ProgramRun RunProgram(LabMachine& lab, const std::vector<std::string>& arguments,
                      const std::vector<platform::simulated::Fault>& faults, bool trace);

}  // namespace vorn::lab

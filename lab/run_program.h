#pragma once

// One run of the program as one process on a machine.

#include "lab/command_line.h"
#include "lab/fault_spec.h"
#include "lab/machine_folder.h"
#include "platform/simulated/process.h"

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace vorn::lab {

struct ProgramRun {
  LabResult result;  // the program's own bytes and status
  bool killed = false;
  std::uint64_t milliseconds = 0;                      // machine time that the run took
  std::vector<platform::simulated::CallRecord> calls;  // when requested

  // Why the lab itself ended the process; empty when it did not.
  std::string end;

  // Why faults had no effect: one was never reached, a change found nothing to change.
  std::vector<std::string> remarks;
};

/// Gives a process what the machine's processes have: their token, and the faults that befall them
/// all, behind those that it has already. Throws BadInput for a fault that is none.
void PrepareProcess(const ProcessFacts& facts, platform::simulated::Process& process);

/// Called with the number of the call that is being made, counted from 0.
using RunWatch = std::function<void(std::size_t call)>;

/// Runs the program with these arguments (without its name). Afterwards the machine is as the run
/// left it. `watch`, if there is one, is called after each call and each planned event of the
/// machine within one.
ProgramRun RunProgram(LabMachine& lab, const std::vector<std::string>& arguments,
                      const std::vector<StagedFault>& faults, bool logCalls,
                      const RunWatch& watch = {});

}  // namespace vorn::lab

#pragma once

// RunHistory: one run of the program as it can be drawn. Its platform calls, its console lines, the
// faults that hit it, and the machine at each change, all in machine time and in their order.

#include "lab/fault_spec.h"
#include "lab/machine_folder.h"
#include "lab/machine_glance.h"
#include "lab/run_program.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vorn::lab {

/// A point of a run: its machine time, and the number of the call that was being made. Most calls
/// take no machine time, so that only both tell what came first.
struct RunPoint {
  std::size_t call = 0;
  std::uint64_t milliseconds = 0;
};

struct HistoryLine {
  enum class Kind { Output, Error, Fault };
  Kind kind = Kind::Output;
  RunPoint at;
  std::string text;  // without its line feed; of a fault, as it was given
};

struct HistoryMoment {
  RunPoint at;
  MachineGlance machine;
};

/// What a run was about for a while.
struct HistoryPhase {
  std::string title;
  std::size_t firstCall = 0;
  std::size_t calls = 0;
  std::uint64_t begins = 0;  // ms
  std::uint64_t ends = 0;

  std::uint64_t Milliseconds() const { return ends - begins; }
};

struct RunHistory {
  std::string machine;                 // for people: the folder's name
  std::vector<std::string> arguments;  // of the program
  std::optional<int> status;           // none when something ended the process
  std::uint64_t milliseconds = 0;
  std::vector<std::string> callNames;
  std::vector<std::uint64_t> callEnds;  // ms; a call begins when the one before it ends
  std::vector<HistoryLine> lines;       // in order
  std::vector<HistoryMoment> moments;   // the first is the beginning, the others differ from it
  std::vector<HistoryPhase> phases;

  std::uint64_t BeginOf(std::size_t call) const { return call == 0 ? 0 : callEnds[call - 1]; }
};

/// Runs the program on the machine, as RunProgram does, and keeps its history. `run` gets what the
/// run printed.
RunHistory RunWithHistory(LabMachine& lab, const std::vector<std::string>& arguments,
                          const std::vector<StagedFault>& faults, ProgramRun& run);

}  // namespace vorn::lab

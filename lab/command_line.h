#pragma once

// vorn_lab's command line: makes machines, runs the program on them, and shows them.

#include <cstdint>
#include <string>
#include <vector>

namespace vorn::lab {

/// The lab was given something wrong; the machine is unchanged.
inline constexpr int kExitBadInput = 64;

/// With --strict: a fault was never reached, or a change had nothing to change. The program has
/// run.
inline constexpr int kExitFaultInVain = 65;

/// The host failed: a file could not be read or written.
inline constexpr int kExitHostFailed = 74;

/// A fault killed the program; the status is what a shell reports for that.
inline constexpr int kExitKilled = 137;

/// A piece of output, in the order written.
struct ConsolePiece {
  bool error = false;  // to standard error instead of standard output
  std::string text;    // UTF-8
  // Of a piece that the program itself wrote: machine time since the run began, and the number of
  // the call that wrote it, counted from 0.
  std::uint64_t milliseconds = 0;
  std::size_t call = 0;
};

/// What a command of the lab wrote, and its exit status.
struct LabResult {
  int status = 0;
  std::vector<ConsolePiece> console;

  std::string Output() const;
  std::string ErrorOutput() const;
};

/// Runs one command; `arguments` does not include the program's name. Throws nothing.
LabResult RunLab(const std::vector<std::string>& arguments);

}  // namespace vorn::lab

#pragma once

// What a run wrote, line by line with the stream of each, so that a test compares the whole console
// in order and to the byte.

#include "platform/simulated/process.h"
#include "tests/support/run_command.h"

#include <ostream>
#include <string>
#include <vector>

namespace vorn::tests {

struct ConsoleLine {
  bool error = false;  // standard error, else standard output
  std::string text;    // UTF-8, with its line feed

  friend bool operator==(const ConsoleLine&, const ConsoleLine&) = default;
  friend std::ostream& operator<<(std::ostream& stream, const ConsoleLine& line);
};

using Console = std::vector<ConsoleLine>;

/// A line of the program on standard output, or on standard error; its line feed is added.
ConsoleLine Out(std::string text);
ConsoleLine Err(std::string text);

/// The console as lines, one for each write.
Console ConsoleOf(const std::vector<platform::simulated::ConsoleWrite>& writes);
Console ConsoleOf(const RunResult& run);

/// Checks the status and the console of a run, and that it left nothing open.
void ExpectRun(const RunResult& run, ExitStatus status, const Console& console);

}  // namespace vorn::tests

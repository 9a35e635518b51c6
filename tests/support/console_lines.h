#pragma once

// What a run wrote, line by line with its stream, so that a test compares all of it, in order and
// to the byte.

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

/// What a run wrote, one element for each write.
Console ConsoleOf(const RunResult& run);

/// Checks status and console of a run, and that nothing was left open.
void ExpectRun(const RunResult& run, ExitStatus status, const Console& console);

/// As above for each stream by itself, as one text.
void ExpectStreams(const RunResult& run, ExitStatus status, const std::string& output,
                   const std::string& errorOutput);

}  // namespace vorn::tests

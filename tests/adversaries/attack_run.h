#pragma once

// Runs a command under attack and judges the world that it leaves, without asking the program.

#include "tests/adversaries/attack.h"
#include "tests/support/run_command.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vorn::tests {

/// One run with the strike before its `moment`-th platform call (counted from 1; 0 for no strike).
struct AttackedRun {
  bool acted = false;  // Windows let the strike happen
  RunResult result;
  std::vector<std::string> violations;  // only judged when the strike happened, or there was none
};

AttackedRun RunAttack(const Attack& attack, Job job, std::uint64_t moment);

/// The names of the calls that the command makes when it is left alone with that attack's machine.
std::vector<std::string> CallsWithout(const Attack& attack, Job job);

}  // namespace vorn::tests

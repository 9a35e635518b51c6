#pragma once

// Runs a command under attack and judges the machine that it leaves behind.

#include "tests/adversaries/attack.h"
#include "tests/adversaries/attack_judge.h"
#include "tests/support/run_command.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vorn::tests {

/// One run of the command with the strike before one of its platform calls.
struct AttackedRun {
  bool acted = false;  // Windows let the strike happen
  RunResult result;
  std::vector<std::string> violations;  // empty where the strike could not happen
};

/// One row of the table against one command. The attack must outlive it.
class AttackedCommand {
 public:
  AttackedCommand(const Attack& attack, Job job);

  /// The names of the calls that the command makes on this attack's machine without a strike.
  const std::vector<std::string>& Calls() const { return calls_; }

  /// Of these moments (call numbers from 1, ascending), those before which Windows allows the
  /// strike.
  std::vector<std::uint64_t> MomentsThatLetItHappen(
      const std::vector<std::uint64_t>& moments) const;

  /// Runs the command with the strike before its `moment`-th call; 0 for no strike. With `log` the
  /// calls are recorded and judged too, which costs as much as the run itself.
  AttackedRun Run(std::uint64_t moment, bool log) const;

 private:
  RunResult RunOn(platform::simulated::Machine& machine, const RunOptions& options) const;

  const Attack& attack_;
  Job job_;
  AttackJudge judge_;
  std::vector<std::string> calls_;
};

}  // namespace vorn::tests

#pragma once

// What the harness ran, in numbers. Each shard writes its part into a folder of the build, so that
// the parts of several processes make one report.

#include "tests/faults/fault_plans.h"

#include <cstdint>
#include <string>

namespace vorn::tests {

/// One shard: a phase of a command over all starting machines.
struct ShardReport {
  std::string phase;
  std::string command;
  std::uint64_t machines = 0;
  std::uint64_t calls = 0;     // of the undisturbed runs, together
  std::uint64_t possible = 0;  // runs that the phase could make
  std::uint64_t distinct = 0;  // those of them that differ by more than the turn of a wait
  std::uint64_t runs = 0;      // runs that it made
  std::uint64_t violations = 0;
};

/// Where reports go: beside the test program, or where VORN_FAULTS_REPORT says.
void SetReportFolder(const std::string& testProgram);

void WriteShardReport(const ShardReport& report);

/// Joins all parts into one table, prints it and writes it to `report.txt` in the folder.
void PrintJoinedReport();

}  // namespace vorn::tests

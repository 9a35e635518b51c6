#pragma once

// The numbers of what the harness ran. The shards run in processes of their own, so each writes its
// part into a folder of the build, and the parts are joined into one report.

#include "tests/faults/fault_plans.h"

#include <cstdint>
#include <string>

namespace vorn::tests {

/// One shard: a phase of a command over all starting machines.
struct ShardReport {
  std::string phase;
  std::string command;
  std::uint64_t machines = 0;
  std::uint64_t calls = 0;     // in all undisturbed runs
  std::uint64_t possible = 0;  // runs that the phase consists of
  std::uint64_t distinct = 0;  // those that differ by more than the turn of a wait
  std::uint64_t runs = 0;      // runs made
  std::uint64_t violations = 0;
};

/// The folder of the reports: beside the test program, or what VORN_FAULTS_REPORT names.
void SetReportFolder(const std::string& testProgram);

void WriteShardReport(const ShardReport& report);

/// Joins all parts into one table, prints it and writes it to `report.txt` in the folder.
void PrintJoinedReport();

}  // namespace vorn::tests

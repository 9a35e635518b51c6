#include "tests/faults/report.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <vector>

namespace vorn::tests {

namespace {

std::filesystem::path& Folder() {
  static std::filesystem::path folder = "faults-report";
  return folder;
}

std::vector<ShardReport> ReadShards() {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(Folder())) {
    if (entry.path().extension() == ".shard") files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  std::vector<ShardReport> shards;
  for (const auto& file : files) {
    ShardReport shard;
    std::ifstream in(file);
    if (in >> shard.phase >> shard.command >> shard.machines >> shard.calls >> shard.possible >>
        shard.distinct >> shard.runs >> shard.violations) {
      shards.push_back(shard);
    }
  }
  return shards;
}

void AddRow(std::ostringstream& text, const ShardReport& row) {
  char line[192];
  std::snprintf(
      line, sizeof line, "%-16s %-17s %8llu %8llu %10llu %10llu %8llu %10llu\n", row.phase.c_str(),
      row.command.c_str(), static_cast<unsigned long long>(row.machines),
      static_cast<unsigned long long>(row.calls), static_cast<unsigned long long>(row.possible),
      static_cast<unsigned long long>(row.distinct), static_cast<unsigned long long>(row.runs),
      static_cast<unsigned long long>(row.violations));
  text << line;
}

/// "N commands on 20 machines: 1 of 2 single, ...; violations found: 0".
void AddSummary(std::ostringstream& text, const std::map<std::string, ShardReport>& sums) {
  std::uint64_t violations = 0;
  std::uint64_t runs = 0;
  std::uint64_t machines = 0;
  for (const auto& [phase, sum] : sums) {
    violations += sum.violations;
    runs += sum.runs;
    machines = std::max(machines, sum.machines);
  }
  text << CommandLines().size() << " command forms on " << machines << " machines, " << runs
       << " runs: ";
  for (const auto& [phase, sum] : sums)
    text << phase << ' ' << sum.runs << " of " << sum.distinct << ", ";
  text << "violations found: " << violations << '\n';
}

}  // namespace

void SetReportFolder(const std::string& testProgram) {
  const char* chosen = std::getenv("VORN_FAULTS_REPORT");
  Folder() = chosen != nullptr
                 ? std::filesystem::path(chosen)
                 : std::filesystem::absolute(testProgram).parent_path() / "faults-report";
}

void WriteShardReport(const ShardReport& report) {
  std::filesystem::create_directories(Folder());
  std::ofstream out(Folder() / (report.phase + "-" + report.command + ".shard"));
  out << report.phase << ' ' << report.command << ' ' << report.machines << ' ' << report.calls
      << ' ' << report.possible << ' ' << report.distinct << ' ' << report.runs << ' '
      << report.violations << '\n';
}

void PrintJoinedReport() {
  if (!std::filesystem::exists(Folder())) return;
  std::ostringstream text;
  text << "phase            command           machines    calls   possible   distinct     runs "
          "violations\n";
  std::map<std::string, ShardReport> sums;
  for (const ShardReport& shard : ReadShards()) {
    AddRow(text, shard);
    ShardReport& sum = sums[shard.phase];
    sum.phase = shard.phase;
    sum.command = "all";
    sum.machines = std::max(sum.machines, shard.machines);
    sum.calls += shard.calls;
    sum.possible += shard.possible;
    sum.distinct += shard.distinct;
    sum.runs += shard.runs;
    sum.violations += shard.violations;
  }
  for (const auto& [phase, sum] : sums)
    AddRow(text, sum);
  AddSummary(text, sums);
  text << "Of the distinct runs, those that were not made were left out by repeatable sampling.\n";
  std::ofstream(Folder() / "report.txt") << text.str();
  std::fputs(text.str().c_str(), stdout);
}

}  // namespace vorn::tests

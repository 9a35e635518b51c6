// Every command on every preset of the lab makes exactly as many platform calls as docs/calls.md
// says, and ends with the status there.

#include "base/text.h"
#include "lab/presets.h"
#include "tests/support/run_command.h"
#include "tests/support/sample.h"

#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <regex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace vorn {
namespace {

using platform::simulated::Machine;
using tests::kSampleDate;
using tests::kSampleInf;
using tests::kSampleJournal;
using tests::kSampleVersion;

struct CountedCommand {
  std::string name;
  std::vector<std::u16string> arguments;
  bool afterInstall = false;  // proves the journal of an install
};

const std::vector<CountedCommand>& Commands() {
  static const std::vector<CountedCommand> commands = {
      {"install", {u"install", kSampleInf}},
      {"install --rollback", {u"install", kSampleInf, kSampleJournal, u"--rollback"}},
      {"verify", {u"verify", kSampleVersion, kSampleDate, kSampleJournal}, true},
      {"hot-activate", {u"hot-activate", kSampleVersion, kSampleDate, kSampleJournal}, true},
      {"audit-current", {u"audit-current", kSampleInf}},
      {"audit-catalog", {u"audit-catalog"}},
      {"resume-endpoints", {u"resume-endpoints"}},
      {"remove", {u"remove", kSampleInf}}};
  return commands;
}

/// Preset and command.
using CountedRun = std::pair<std::string, std::string>;

struct Count {
  int status = 0;
  std::uint64_t calls = 0;

  friend bool operator==(const Count&, const Count&) = default;
};

std::ostream& operator<<(std::ostream& stream, const Count& count) {
  return stream << "status " << count.status << ", " << count.calls << " calls";
}

/// The rows of the page's last table.
std::map<CountedRun, Count> CountsOfThePage() {
  std::ifstream page(VORN_CALLS_PAGE);
  if (!page) throw std::runtime_error("cannot read " VORN_CALLS_PAGE);
  const std::regex row(R"(^\| `([^`]+)` \| `([^`]+)` \| (\d+) \| ([\d,]+) \|.*)");
  std::map<CountedRun, Count> counts;
  for (std::string line; std::getline(page, line);) {
    std::smatch found;
    if (!std::regex_match(line, found, row)) continue;
    std::string calls = found[4];
    std::erase(calls, ',');
    counts[{found[1], found[2]}] = {std::stoi(found[3]), std::stoull(calls)};
  }
  return counts;
}

tests::RunResult RunUnlogged(Machine& machine, const std::vector<std::u16string>& arguments) {
  tests::RunOptions options;
  options.logCalls = false;
  return RunCommand(machine, arguments, options);
}

Count CountOn(Machine machine, const CountedCommand& command) {
  if (command.afterInstall) RunUnlogged(machine, {u"install", kSampleInf});
  const tests::RunResult run = RunUnlogged(machine, command.arguments);
  return {run.status, run.callCount};
}

TEST(CallCounts, AreThoseOfThePage) {
  std::map<CountedRun, Count> expected = CountsOfThePage();
  for (const lab::Preset& preset : lab::Presets()) {
    const Machine machine = preset.make().machine;
    for (const CountedCommand& command : Commands()) {
      const CountedRun counted = {std::string(preset.name), command.name};
      EXPECT_EQ(CountOn(machine, command), expected[counted])
          << command.name << " on " << preset.name
          << ": if this is meant, run tools/calls and commit docs/calls.md with it";
      expected.erase(counted);
    }
  }
  for (const auto& [counted, count] : expected)
    ADD_FAILURE() << "the page has " << counted.second << " on " << counted.first;
}

}  // namespace
}  // namespace vorn

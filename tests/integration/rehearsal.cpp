#include "tests/integration/rehearsal.h"

#include <algorithm>
#include <fnmatch.h>
#include <gtest/gtest.h>
#include <map>
#include <tuple>

namespace vorn::tests {

using lab::LabResult;
using platform::simulated::Device;

namespace {

void AddLines(const std::string& stream, const std::string& text, std::vector<PrintedLine>& lines) {
  for (std::size_t from = 0; from < text.size();) {
    const std::size_t end = text.find('\n', from);
    lines.push_back({stream, text.substr(from, end - from)});
    from = end == std::string::npos ? text.size() : end + 1;
  }
}

Rehearsal Rehearse(const Decision& decision) {
  SCOPED_TRACE(decision.id);
  Rehearsal rehearsal;
  StagedMachine machine(decision.staging.machine);
  machine.TakeAll(decision.staging.prepare);
  rehearsal.before = machine.Look();
  const LabResult result = machine.Run(decision.staging.words);
  rehearsal.status = result.status;
  rehearsal.lines = LinesOf(result);
  rehearsal.after = machine.Look();
  for (const lab::Json& step : decision.then) {
    const LabResult taken = machine.Take(step);
    if (step[0] != lab::Json("run")) continue;
    for (PrintedLine& line : LinesOf(taken))
      rehearsal.laterLines.push_back(std::move(line));
  }
  rehearsal.end = machine.Look();
  return rehearsal;
}

/// What a user can notice of a device.
auto FactsOf(const Device& device) {
  return std::tie(device.instanceId, device.present, device.status, device.problem,
                  device.publishedInf, device.pendingInf, device.generation, device.hidden,
                  device.removalPending);
}

}  // namespace

std::string Named(const std::string& name) {
  return DecisionTable::Get().Named(name);
}

std::string TestNameOf(const testing::TestParamInfo<Decision>& row) {
  std::string name = row.param.id;
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
}

const Rehearsal& RehearsalOf(const Decision& decision) {
  static std::map<std::string, Rehearsal> rehearsals;
  const auto known = rehearsals.find(decision.id);
  if (known != rehearsals.end()) return known->second;
  return rehearsals[decision.id] = Rehearse(decision);
}

std::vector<PrintedLine> LinesOf(const Staging& staging) {
  StagedMachine machine(staging.machine);
  machine.TakeAll(staging.prepare);
  const LabResult result = machine.Run(staging.words);
  std::vector<PrintedLine> lines = LinesOf(result);
  EXPECT_EQ(result.status, staging.status) << TextOf(lines);
  return lines;
}

std::vector<PrintedLine> LinesOf(const LabResult& result) {
  std::vector<PrintedLine> lines;
  AddLines("out", result.Output(), lines);
  AddLines("err", result.ErrorOutput(), lines);
  return lines;
}

bool AnyHasForm(const std::vector<PrintedLine>& lines, const std::string& pattern) {
  return std::any_of(lines.begin(), lines.end(),
                     [&](const PrintedLine& line) { return HasForm(line.text, pattern); });
}

std::string TextOf(const std::vector<PrintedLine>& lines) {
  std::string text;
  for (const PrintedLine& line : lines)
    text += line.stream + ": " + line.text + "\n";
  return text;
}

bool HasForm(const std::string& text, const std::string& pattern) {
  return fnmatch(pattern.c_str(), text.c_str(), FNM_NOESCAPE) == 0;
}

bool IsTouched(const MachinePicture& before, const MachinePicture& after) {
  if (before.packages != after.packages || before.roots.size() != after.roots.size()) return true;
  for (std::size_t i = 0; i < before.roots.size(); ++i) {
    if (FactsOf(before.roots[i]) != FactsOf(after.roots[i])) return true;
  }
  return false;
}

}  // namespace vorn::tests

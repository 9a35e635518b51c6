// What docs/troubleshooting.md explains: each line, error code and observation is brought about in
// the lab, and the program prints no line that the page does not explain.

#include "tests/integration/rehearsal.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <set>

namespace vorn::tests {
namespace {

/// Each is staged once.
const std::vector<PrintedLine>& StagedLinesOf(const Explained& explained) {
  static std::map<std::string, std::vector<PrintedLine>> all;
  const auto known = all.find(explained.pattern);
  if (known != all.end()) return known->second;
  return all[explained.pattern] = LinesOf(*explained.staging);
}

class ExplainedLine : public testing::TestWithParam<Explained> {};

TEST_P(ExplainedLine, IsPrintedByTheRunThatTheTableNames) {
  const std::vector<PrintedLine>& lines = StagedLinesOf(GetParam());
  EXPECT_TRUE(AnyHasForm(lines, GetParam().pattern)) << TextOf(lines);
}

/// Those with a run of their own.
std::vector<Explained> Staged(const std::vector<Explained>& all) {
  std::vector<Explained> staged;
  std::copy_if(all.begin(), all.end(), std::back_inserter(staged),
               [](const Explained& each) { return each.staging.has_value(); });
  return staged;
}

INSTANTIATE_TEST_SUITE_P(Lines, ExplainedLine,
                         testing::ValuesIn(Staged(DecisionTable::Get().Lines())));
INSTANTIATE_TEST_SUITE_P(Codes, ExplainedLine,
                         testing::ValuesIn(Staged(DecisionTable::Get().Codes())));
INSTANTIATE_TEST_SUITE_P(Observations, ExplainedLine,
                         testing::ValuesIn(Staged(DecisionTable::Get().Observations())));

/// Every line that a run of the table prints.
std::vector<PrintedLine> AllLines() {
  std::set<std::string> texts;
  for (const Decision& row : DecisionTable::Get().Rows()) {
    for (const PrintedLine& line : RehearsalOf(row).lines)
      texts.insert(line.text);
    for (const PrintedLine& line : RehearsalOf(row).laterLines)
      texts.insert(line.text);
  }
  for (const auto* const list : {&DecisionTable::Get().Lines(), &DecisionTable::Get().Codes(),
                                 &DecisionTable::Get().Observations()}) {
    for (const Explained& each : Staged(*list)) {
      for (const PrintedLine& line : StagedLinesOf(each))
        texts.insert(line.text);
    }
  }
  std::vector<PrintedLine> lines;
  for (const std::string& text : texts)
    lines.push_back({"", text});
  return lines;
}

bool IsOfUsage(const std::string& text) {
  return text == "Usage:" || text.starts_with("  vorn_devnode.exe ");
}

TEST(Troubleshooting, ExplainsEveryLineThatIsPrintedAndNoOther) {
  const std::vector<PrintedLine> lines = AllLines();
  const std::vector<Explained>& explained = DecisionTable::Get().Lines();
  for (const PrintedLine& line : lines) {
    const bool known = std::any_of(explained.begin(), explained.end(), [&](const Explained& each) {
      return HasForm(line.text, each.pattern);
    });
    EXPECT_TRUE(known || IsOfUsage(line.text)) << line.text;
  }
  for (const Explained& each : explained)
    EXPECT_EQ(AnyHasForm(lines, each.pattern), each.staged) << each.pattern;
}

}  // namespace
}  // namespace vorn::tests

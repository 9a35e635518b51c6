// Each row of the table of decisions, against the program: how the run ends, what it leaves, and
// that the steps which the row recommends lead to the end which it promises.

#include "base/text.h"
#include "tests/integration/rehearsal.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace vorn::tests {
namespace {

constexpr char kPersisted[] = "vorn_devnode: persisted protected pre-bind activation state";
constexpr int kKilled = 137;

bool Printed(const Rehearsal& rehearsal, const std::string& pattern) {
  return std::any_of(rehearsal.lines.begin(), rehearsal.lines.end(),
                     [&](const PrintedLine& line) { return HasForm(line.text, pattern); });
}

std::string AllOf(const Rehearsal& rehearsal) {
  std::string text;
  for (const PrintedLine& line : rehearsal.lines)
    text += line.stream + ": " + line.text + "\n";
  return text;
}

/// The command word; options of the lab stand before it.
std::string CommandOf(const Decision& row) {
  std::size_t i = 0;
  while (row.words[i].starts_with("--"))
    i += 2;
  return row.words[i];
}

std::string NameOf(const testing::TestParamInfo<Decision>& info) {
  std::string name = info.param.id;
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
}

class Decisions : public testing::TestWithParam<Decision> {
 protected:
  const Decision& Row() const { return GetParam(); }
  const Rehearsal& Seen() const { return RehearsalOf(GetParam()); }
};

TEST_P(Decisions, EndWithTheirStatus) {
  EXPECT_EQ(Seen().status, Row().status) << AllOf(Seen());
}

TEST_P(Decisions, PrintTheirLineOnItsStream) {
  if (Row().line.empty()) {
    EXPECT_TRUE(Seen().lines.empty()) << AllOf(Seen());
    return;
  }
  const auto& lines = Seen().lines;
  const auto line = std::find_if(lines.begin(), lines.end(), [this](const PrintedLine& each) {
    return HasForm(each.text, Row().line);
  });
  ASSERT_NE(line, lines.end()) << AllOf(Seen());
  EXPECT_EQ(line->stream, Row().stream);
}

TEST_P(Decisions, TouchTheMachineOrNot) {
  EXPECT_EQ(IsTouched(Seen().before, Seen().after), Row().touched);
}

TEST_P(Decisions, LeaveTheJournalThatTheyTell) {
  const auto& before = Seen().before;
  const auto& after = Seen().after;
  if (Row().journal == "none") {
    EXPECT_EQ(after.journal, "none");
  } else if (Row().journal == "unchanged") {
    EXPECT_NE(after.journal, "none");
    EXPECT_EQ(after.journalText, before.journalText);
  } else {
    ASSERT_EQ(Row().journal, "target");
    const bool second =
        std::count(Row().words.begin(), Row().words.end(), DecisionTable::Get().Named("INF2")) == 1;
    EXPECT_EQ(after.journal, DecisionTable::Get().Named(second ? "VERSION2" : "VERSION1"));
    EXPECT_NE(after.journalText, before.journalText);
  }
}

TEST_P(Decisions, LeaveTheDriverAndTheEndpointsThatTheyTell) {
  EXPECT_EQ(Seen().after.runs, Row().runs);
  EXPECT_EQ(Seen().after.endpoints, Row().endpoints);
}

TEST_P(Decisions, TakeTheTimeThatTheyTell) {
  EXPECT_EQ((Seen().after.tick - Seen().before.tick) / 1000, Row().seconds);
}

// The steps' own statuses are checked where they are taken.
TEST_P(Decisions, LeadToAGoodEndByTheirNextSteps) {
  EXPECT_EQ((GoodEnd{Seen().end.runs, Seen().end.endpoints, Seen().end.journal}), Row().end);
  if (Row().end.endpoints == 0 || Seen().before.endpointIds.empty()) return;
  EXPECT_EQ(Seen().end.endpointIds != Seen().before.endpointIds, Row().newEndpoints);
}

// An installer may take the absence of the line for "nothing to roll back".
TEST_P(Decisions, OfAnInstallTouchADeviceOnlyAfterTheJournalWasWritten) {
  if (CommandOf(Row()) != "install" || !IsTouched(Seen().before, Seen().after)) return;
  EXPECT_TRUE(Printed(Seen(), kPersisted) ||
              Printed(Seen(), "vorn_devnode: removed * duplicate/ghost *"))
      << AllOf(Seen());
}

// A journal that outlives a failed install would block the rollback.
TEST_P(Decisions, OfAnInstallThatFailsLeaveNoJournalOfTheirOwn) {
  const bool ended = Row().status != 0 && Row().status != 10 && Row().status != kKilled;
  if (CommandOf(Row()) != "install" || !ended) return;
  EXPECT_NE(Row().journal, "target");
}

INSTANTIATE_TEST_SUITE_P(Table, Decisions, testing::ValuesIn(DecisionTable::Get().Rows()), NameOf);

}  // namespace
}  // namespace vorn::tests

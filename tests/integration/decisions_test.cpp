// Each row of the table of decisions, against the program: how the run ends, what it leaves, and
// that the steps which the row recommends lead to the end which it promises.

#include "base/text.h"
#include "tests/integration/rehearsal.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <set>

namespace vorn::tests {
namespace {

constexpr int kKilled = 137;

/// The command word; options of the lab stand before it.
std::string CommandOf(const Decision& row) {
  std::size_t i = 0;
  while (row.staging.words[i].starts_with("--"))
    i += 2;
  return row.staging.words[i];
}

class Decisions : public testing::TestWithParam<Decision> {
 protected:
  const Decision& Row() const { return GetParam(); }
  const Rehearsal& Seen() const { return RehearsalOf(GetParam()); }
};

TEST_P(Decisions, EndWithTheirStatus) {
  EXPECT_EQ(Seen().status, Row().staging.status) << TextOf(Seen().lines);
}

TEST_P(Decisions, PrintTheirLineOnItsStream) {
  if (Row().line.empty()) {
    EXPECT_TRUE(Seen().lines.empty()) << TextOf(Seen().lines);
    return;
  }
  const auto& lines = Seen().lines;
  const auto line = std::find_if(lines.begin(), lines.end(), [this](const PrintedLine& each) {
    return HasForm(each.text, Row().line);
  });
  ASSERT_NE(line, lines.end()) << TextOf(Seen().lines);
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
        std::count(Row().staging.words.begin(), Row().staging.words.end(), Named("INF2")) == 1;
    EXPECT_EQ(after.journal, Named(second ? "VERSION2" : "VERSION1"));
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
  EXPECT_TRUE(AnyHasForm(Seen().lines, kPersisted) ||
              AnyHasForm(Seen().lines, "vorn_devnode: removed * duplicate/ghost *"))
      << TextOf(Seen().lines);
}

// A journal that outlives a failed install would block the rollback.
TEST_P(Decisions, OfAnInstallThatFailsLeaveNoJournalOfTheirOwn) {
  const bool ended =
      Row().staging.status != 0 && Row().staging.status != 10 && Row().staging.status != kKilled;
  if (CommandOf(Row()) != "install" || !ended) return;
  EXPECT_NE(Row().journal, "target");
}

INSTANTIATE_TEST_SUITE_P(Table, Decisions, testing::ValuesIn(DecisionTable::Get().Rows()),
                         TestNameOf);

// An installer knows the command, its status and three lines of standard output, and must not have
// to know more.
TEST(DecisionTable, HasOneSequenceForWhatAnInstallerCanTellApart) {
  std::map<std::vector<std::string>, std::pair<std::string, int>> known;
  for (const Decision& row : DecisionTable::Get().Rows()) {
    const Rehearsal& seen = RehearsalOf(row);
    const std::vector<std::string> key = {
        CommandOf(row),
        std::to_string(row.staging.status),
        row.staging.words.back() == "--rollback" ? "rollback" : "",
        row.staging.status != kKilled && AnyHasForm(seen.lines, kPersisted) ? "persisted" : "",
        AnyHasForm(seen.lines, kCreated) ? "created" : "",
        AnyHasForm(seen.lines, kUntouched) ? "untouched" : ""};
    const std::pair<std::string, int> answer = {row.sequence, row.installerCode};
    EXPECT_EQ(known.try_emplace(key, answer).first->second, answer) << row.id;
  }
}

// The statuses that the program has, each for at least one of its commands.
TEST(DecisionTable, HasEveryStatus) {
  std::set<int> statuses;
  for (const Decision& row : DecisionTable::Get().Rows())
    statuses.insert(row.staging.status);
  statuses.erase(kKilled);
  EXPECT_EQ(statuses, (std::set<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 15, 16, 17}));
}

}  // namespace
}  // namespace vorn::tests

#include "lab/timeline_layout.h"

#include <gtest/gtest.h>

namespace vorn::lab {
namespace {

/// A run whose phases have these titles and lengths; each makes ten calls and then waits.
RunHistory RunOf(const std::vector<std::pair<std::string, std::uint64_t>>& phases) {
  RunHistory run;
  for (const auto& [title, milliseconds] : phases) {
    HistoryPhase phase;
    phase.title = title;
    phase.firstCall = run.callNames.size();
    phase.calls = 10;
    phase.begins = run.milliseconds;
    phase.ends = run.milliseconds + milliseconds;
    run.phases.push_back(phase);
    for (int call = 0; call < 10; ++call) {
      run.callNames.emplace_back(call < 9 ? "GetAce" : "Sleep");
      run.callEnds.push_back(call < 9 ? run.milliseconds : phase.ends);
    }
    run.milliseconds = phase.ends;
  }
  return run;
}

void Say(RunHistory& run, std::size_t call, const std::string& text) {
  run.lines.push_back({HistoryLine::Kind::Output, {call, run.BeginOf(call)}, text});
}

/// The titles of each row, "-" where a run has none.
std::vector<std::string> RowsOf(const TimelineLayout& layout) {
  std::vector<std::string> rows;
  for (const auto& [top, height] : layout.rows) {
    std::string row;
    for (const RunPlaces& places : layout.runs) {
      std::string title = "-";
      for (const PlacedPhase& placed : places.phases)
        if (placed.top == top) title = placed.phase->title;
      row += title;
    }
    rows.push_back(row);
  }
  return rows;
}

TEST(TimelineLayout, PutsPhasesBelowEachOther) {
  const std::vector<RunHistory> runs = {RunOf({{"a", 0}, {"b", 90'000}, {"c", 0}})};
  const TimelineLayout layout = PlaceRuns(runs, 100, 40);
  int y = 100;
  for (const PlacedPhase& placed : layout.runs[0].phases) {
    EXPECT_EQ(placed.top, y);
    y += placed.height;
  }
  EXPECT_EQ(layout.bottom, y);
}

TEST(TimelineLayout, GivesMoreRoomToMoreTimeAndSomeToNone) {
  const std::vector<RunHistory> runs = {RunOf({{"a", 0}, {"b", 2500}, {"c", 90'000}})};
  const TimelineLayout layout = PlaceRuns(runs, 0, 40);
  const auto& phases = layout.runs[0].phases;
  EXPECT_GE(phases[0].height, 30);
  EXPECT_GT(phases[1].height, phases[0].height);
  EXPECT_GT(phases[2].height, phases[1].height);
  EXPECT_LT(phases[2].height, 10 * phases[1].height);
}

TEST(TimelineLayout, PlacesTimeEvenlyWithinAPhaseThatTakesTime) {
  const std::vector<RunHistory> runs = {RunOf({{"a", 1000}})};
  const TimelineLayout layout = PlaceRuns(runs, 0, 40);
  const int height = layout.bottom;
  EXPECT_EQ(layout.runs[0].YOf({9, 0}), 0);
  EXPECT_EQ(layout.runs[0].YOf({9, 500}), height / 2);
  EXPECT_EQ(layout.runs[0].YOf({9, 1000}), height);
}

TEST(TimelineLayout, PlacesCallsEvenlyWithinAPhaseThatTakesNoTime) {
  const std::vector<RunHistory> runs = {RunOf({{"a", 0}, {"b", 0}})};
  const TimelineLayout layout = PlaceRuns(runs, 0, 40);
  const PlacedPhase& second = layout.runs[0].phases[1];
  EXPECT_EQ(layout.runs[0].YOfCall(10), second.top);
  EXPECT_EQ(layout.runs[0].YOfCall(15), second.top + second.height / 2);
}

TEST(TimelineLayout, PutsEqualPhasesOfTwoRunsIntoOneRow) {
  const std::vector<RunHistory> runs = {RunOf({{"a", 0}, {"b", 0}, {"d", 0}}),
                                        RunOf({{"a", 0}, {"c", 0}, {"d", 9000}})};
  EXPECT_EQ(RowsOf(PlaceRuns(runs, 0, 40)), (std::vector<std::string>{"aa", "b-", "-c", "dd"}));
}

TEST(TimelineLayout, KeepsTheRestOfTheLongerRun) {
  const std::vector<RunHistory> runs = {RunOf({{"a", 0}}), RunOf({{"z", 0}, {"a", 0}, {"b", 0}})};
  EXPECT_EQ(RowsOf(PlaceRuns(runs, 0, 40)), (std::vector<std::string>{"-z", "aa", "-b"}));
}

TEST(TimelineLayout, LetsNoTextCoverAnother) {
  std::vector<RunHistory> runs = {RunOf({{"a", 0}, {"b", 90'000}, {"c", 0}})};
  Say(runs[0], 3, "one");
  Say(runs[0], 3, "two has so many words that it needs more than a single line of the column");
  Say(runs[0], 18, "three");
  Say(runs[0], 29, "four");
  const TimelineLayout layout = PlaceRuns(runs, 50, 30);
  int free = 50;
  for (const PlacedLine& line : layout.runs[0].lines) {
    EXPECT_GE(line.textY, free) << line.line->text;
    free = line.textY + static_cast<int>(line.texts.size()) * kTextLineHeight;
  }
  EXPECT_LE(free, layout.bottom);
}

TEST(TimelineLayout, LetsOneLineStandForManyLikeIt) {
  std::vector<RunHistory> runs = {RunOf({{"a", 0}})};
  for (std::size_t i = 0; i < 6; ++i)
    Say(runs[0], i, "vorn_devnode: removed endpoint record " + std::to_string(i));
  Say(runs[0], 7, "the end");
  const auto lines = PlaceRuns(runs, 0, 60).runs[0].lines;
  EXPECT_EQ(lines[0].texts,
            (std::vector<std::string>{"removed endpoint record 0", "and 5 more lines like it"}));
  EXPECT_TRUE(lines[5].texts.empty());
  EXPECT_EQ(lines[6].texts, std::vector<std::string>{"the end"});
}

TEST(TimelineLayout, ShowsAFewLinesThatAreAlike) {
  std::vector<RunHistory> runs = {RunOf({{"a", 0}})};
  for (std::size_t i = 0; i < 4; ++i)
    Say(runs[0], i, "query-remove attempt failed " + std::to_string(i));
  const TimelineLayout layout = PlaceRuns(runs, 0, 60);
  for (const PlacedLine& line : layout.runs[0].lines)
    EXPECT_EQ(line.texts.size(), 1U);
}

TEST(TimelineLayout, LinesUpTheMostPhasesOfTwoRuns) {
  const std::vector<RunHistory> runs = {RunOf({{"a", 0}, {"b", 0}, {"c", 0}}),
                                        RunOf({{"b", 0}, {"c", 0}, {"a", 0}})};
  EXPECT_EQ(RowsOf(PlaceRuns(runs, 0, 40)), (std::vector<std::string>{"a-", "bb", "cc", "-a"}));
}

TEST(TimelineLayout, GivesEachPhaseRoomForItsTitleAndALineBelow) {
  const std::vector<RunHistory> runs = {RunOf({{"a", 0}})};
  EXPECT_EQ(PlaceRuns(runs, 0, 40).bottom, 38);
}

TEST(TimelineLayout, LetsTextsOfOneRowEndInIt) {
  std::vector<RunHistory> runs = {RunOf({{"a", 1000}, {"b", 1000}})};
  for (int line = 0; line < 4; ++line)
    Say(runs[0], 10, "line " + std::to_string(line));  // when the first phase has just ended
  Say(runs[0], 9, "a late line");
  const TimelineLayout layout = PlaceRuns(runs, 0, 40);
  for (const PlacedLine& line : layout.runs[0].lines) {
    const PlacedPhase& row = layout.runs[0].phases[line.line->at.call < 10 ? 0 : 1];
    EXPECT_GE(line.textY, row.top) << line.line->text;
    EXPECT_LE(line.textY + kTextLineHeight, row.top + row.height) << line.line->text;
  }
}

/// The numbers of texts that lines keep of which five are alike but for one thing.
std::vector<std::size_t> TextsOf(void (*change)(HistoryLine& line)) {
  std::vector<RunHistory> runs = {RunOf({{"a", 0}, {"b", 0}})};
  for (std::size_t i = 0; i < 5; ++i)
    Say(runs[0], i, "removed endpoint record " + std::to_string(i));
  change(runs[0].lines[2]);
  std::vector<std::size_t> texts;
  const TimelineLayout layout = PlaceRuns(runs, 0, 60);
  for (const PlacedLine& line : layout.runs[0].lines)
    texts.push_back(line.texts.size());
  return texts;
}

TEST(TimelineLayout, FoldsFiveLinesOfOneKindAboutOneThingInOnePhase) {
  const std::vector<std::size_t> folded = {2, 0, 0, 0, 0};
  const std::vector<std::size_t> all = {1, 1, 1, 1, 1};
  EXPECT_EQ(TextsOf([](HistoryLine&) {}), folded);
  EXPECT_EQ(TextsOf([](HistoryLine& line) { line.kind = HistoryLine::Kind::Error; }), all);
  EXPECT_EQ(TextsOf([](HistoryLine& line) { line.text = "removed endpoint history 2"; }), all);
  EXPECT_EQ(TextsOf([](HistoryLine& line) { line.at.call = 12; }), all);
}

TEST(ShownText, SaysThatALineIsAFault) {
  EXPECT_EQ(ShownText({HistoryLine::Kind::Fault, {}, "Sleep:fail"}), "fault Sleep:fail");
  EXPECT_EQ(ShownText({HistoryLine::Kind::Error, {}, "vorn_devnode: a line"}), "a line");
}

TEST(WrappedText, CutsNoShortPieceOffAtABlank) {
  EXPECT_EQ(WrappedText("a bcdefghijklmno", 9), (std::vector<std::string>{"a bcdefgh", "ijklmno"}));
}

TEST(WrappedText, CutsAtBlanks) {
  EXPECT_EQ(WrappedText("aaa bbb ccc", 7), (std::vector<std::string>{"aaa bbb", "ccc"}));
}

TEST(WrappedText, CutsAWordThatIsTooLong) {
  EXPECT_EQ(WrappedText("abcdefgh", 3), (std::vector<std::string>{"abc", "def", "gh"}));
}

TEST(WrappedText, CountsCharactersAndNotBytes) {
  EXPECT_EQ(WrappedText("\u00E4\u00E4\u00E4", 3), std::vector<std::string>{"\u00E4\u00E4\u00E4"});
}

}  // namespace
}  // namespace vorn::lab

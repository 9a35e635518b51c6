#include "lab/timeline_layout.h"

#include "base/text.h"

#include <algorithm>
#include <cmath>

namespace vorn::lab {

namespace {

constexpr int kLeastRowHeight = 38;  // a title, and a line below it
constexpr int kRowMargin = 8;

/// The rows of two runs: each has the number of a phase of each run, or none.
using Row = std::vector<std::optional<std::size_t>>;

std::vector<Row> RowsOfOne(const RunHistory& run) {
  std::vector<Row> rows;
  for (std::size_t i = 0; i < run.phases.size(); ++i)
    rows.push_back({i});
  return rows;
}

/// Lines up the phases that both runs have, in the longest common order of their titles.
std::vector<Row> RowsOfTwo(const RunHistory& left, const RunHistory& right) {
  const std::size_t leftCount = left.phases.size();
  const std::size_t rightCount = right.phases.size();
  std::vector<std::vector<int>> common(leftCount + 1, std::vector<int>(rightCount + 1, 0));
  const auto same = [&](std::size_t i, std::size_t j) {
    return left.phases[i].title == right.phases[j].title;
  };
  for (std::size_t i = leftCount; i-- > 0;) {
    for (std::size_t j = rightCount; j-- > 0;) {
      common[i][j] =
          same(i, j) ? common[i + 1][j + 1] + 1 : std::max(common[i + 1][j], common[i][j + 1]);
    }
  }
  std::vector<Row> rows;
  std::size_t i = 0;
  std::size_t j = 0;
  while (i < leftCount || j < rightCount) {
    if (i < leftCount && j < rightCount && same(i, j)) {
      rows.push_back({i++, j++});
    } else if (j == rightCount || (i < leftCount && common[i + 1][j] >= common[i][j + 1])) {
      rows.push_back({i++, std::nullopt});
    } else {
      rows.push_back({std::nullopt, j++});
    }
  }
  return rows;
}

std::size_t PhaseAt(const RunHistory& run, std::size_t call) {
  const auto after = std::upper_bound(
      run.phases.begin(), run.phases.end(), call,
      [](std::size_t number, const HistoryPhase& phase) { return number < phase.firstCall; });
  return after == run.phases.begin() ? 0 : static_cast<std::size_t>(after - run.phases.begin()) - 1;
}

/// The first three words, which tell what a line is about.
std::string AboutOf(const std::string& text) {
  std::size_t end = 0;
  for (int words = 0; words < 3 && end != std::string::npos; ++words)
    end = text.find(' ', end + 1);
  return text.substr(0, end);
}

/// Lets the first of many lines about one thing stand for all: a removal prints one for each
/// endpoint record.
void FoldLines(RunPlaces& places) {
  constexpr std::size_t kMany = 5;
  std::vector<PlacedLine>& lines = places.lines;
  for (std::size_t first = 0; first < lines.size();) {
    const auto alike = [&](const HistoryLine& line) {
      const HistoryLine& other = *lines[first].line;
      return line.kind == other.kind && AboutOf(ShownText(line)) == AboutOf(ShownText(other)) &&
             PhaseAt(*places.run, line.at.call) == PhaseAt(*places.run, other.at.call);
    };
    std::size_t end = first + 1;
    while (end < lines.size() && alike(*lines[end].line))
      ++end;
    if (end - first >= kMany) {
      for (std::size_t i = first + 1; i < end; ++i)
        lines[i].texts.clear();
      lines[first].texts.push_back("and " + std::to_string(end - first - 1) +
                                   " more lines like it");
    }
    first = end;
  }
}

int HeightOfTime(std::uint64_t milliseconds) {
  if (milliseconds == 0) return 0;
  return 24 + static_cast<int>(70 * std::log10(1 + static_cast<double>(milliseconds) / 100));
}

/// The texts of a run's lines by phase, so that a row can hold them.
int HeightOfTexts(const RunPlaces& places, std::size_t phase) {
  int height = 0;
  for (const PlacedLine& line : places.lines) {
    if (PhaseAt(*places.run, line.line->at.call) == phase)
      height += static_cast<int>(line.texts.size()) * kTextLineHeight;
  }
  return height;
}

int HeightOfPhase(const RunPlaces& places, std::size_t phase) {
  const int content = std::max(HeightOfTime(places.run->phases[phase].Milliseconds()),
                               HeightOfTexts(places, phase));
  return std::max(kLeastRowHeight, content + kRowMargin);
}

/// Puts each text at its mark, or below the text above it, and none below its row.
void PlaceTexts(RunPlaces& places) {
  for (std::size_t phase = 0; phase < places.phases.size(); ++phase) {
    const PlacedPhase& row = places.phases[phase];
    int left = HeightOfTexts(places, phase);
    int next = row.top + kRowMargin / 2;
    for (PlacedLine& line : places.lines) {
      if (PhaseAt(*places.run, line.line->at.call) != phase) continue;
      line.markY = places.YOf(line.line->at);
      const int lowest = row.top + row.height - kRowMargin / 2 - left;
      line.textY = std::max(next, std::min(line.markY - kTextLineHeight / 2, lowest));
      const int height = static_cast<int>(line.texts.size()) * kTextLineHeight;
      next = line.textY + height;
      left -= height;
    }
  }
}

}  // namespace

int RunPlaces::YOf(const RunPoint& at) const {
  const std::size_t number = PhaseAt(*run, at.call);
  const PlacedPhase& row = phases[number];
  const HistoryPhase& phase = *row.phase;
  // Within a phase that takes time, time tells the place; in the others, the number of the call.
  const std::uint64_t length = phase.Milliseconds();
  if (length > 0) {
    const std::uint64_t within = std::clamp(at.milliseconds, phase.begins, phase.ends);
    return row.top + static_cast<int>(static_cast<std::uint64_t>(row.height) *
                                      (within - phase.begins) / length);
  }
  const std::size_t within = std::min(at.call - phase.firstCall, phase.calls);
  return row.top + static_cast<int>(static_cast<std::size_t>(row.height) * within /
                                    std::max<std::size_t>(phase.calls, 1));
}

int RunPlaces::YOfCall(std::size_t call) const {
  return YOf({call, run->BeginOf(call)});
}

TimelineLayout PlaceRuns(std::span<const RunHistory> runs, int top, std::size_t charactersOfALine) {
  TimelineLayout layout;
  for (const RunHistory& run : runs) {
    RunPlaces places;
    places.run = &run;
    places.phases.resize(run.phases.size());
    for (const HistoryLine& line : run.lines)
      places.lines.push_back({&line, WrappedText(ShownText(line), charactersOfALine), 0, 0});
    FoldLines(places);
    layout.runs.push_back(std::move(places));
  }
  const std::vector<Row> rows = runs.size() == 1 ? RowsOfOne(runs[0]) : RowsOfTwo(runs[0], runs[1]);
  int y = top;
  for (const Row& row : rows) {
    int height = 0;
    for (std::size_t i = 0; i < row.size(); ++i)
      if (row[i]) height = std::max(height, HeightOfPhase(layout.runs[i], *row[i]));
    for (std::size_t i = 0; i < row.size(); ++i)
      if (row[i]) layout.runs[i].phases[*row[i]] = {&runs[i].phases[*row[i]], y, height};
    layout.rows.emplace_back(y, height);
    y += height;
  }
  layout.bottom = y;
  for (RunPlaces& places : layout.runs)
    PlaceTexts(places);
  return layout;
}

std::vector<std::string> WrappedText(const std::string& text, std::size_t characters) {
  std::vector<std::string> lines;
  std::u16string rest = ToUtf16(text);
  while (rest.size() > characters) {
    const std::size_t blank = rest.rfind(u' ', characters);
    const bool atBlank = blank != std::u16string::npos && blank > characters / 3;
    const std::size_t end = atBlank ? blank : characters;
    lines.push_back(ToUtf8(rest.substr(0, end)));
    rest.erase(0, atBlank ? end + 1 : end);
  }
  lines.push_back(ToUtf8(rest));
  return lines;
}

std::string ShownText(const HistoryLine& line) {
  constexpr std::string_view kProgram = "vorn_devnode: ";
  if (line.kind == HistoryLine::Kind::Fault) return "fault " + line.text;
  return line.text.starts_with(kProgram) ? line.text.substr(kProgram.size()) : line.text;
}

}  // namespace vorn::lab

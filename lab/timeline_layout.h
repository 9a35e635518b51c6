#pragma once

// Where a timeline draws a run: time goes down, in one row for each phase. A row's height follows
// its machine time, but sublinearly and with a least height, because most phases take no time and
// are what a reader wants to see all the same.

#include "lab/run_history.h"

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace vorn::lab {

/// A console line or a fault, wrapped to the width of its column.
struct PlacedLine {
  const HistoryLine* line = nullptr;
  std::vector<std::string> texts;  // none when an earlier line stands for it
  int markY = 0;                   // when it came out
  int textY = 0;                   // where its text begins: lower when lines come close together
};

struct PlacedPhase {
  const HistoryPhase* phase = nullptr;
  int top = 0;
  int height = 0;
};

/// One run, placed.
struct RunPlaces {
  const RunHistory* run = nullptr;
  std::vector<PlacedPhase> phases;
  std::vector<PlacedLine> lines;

  /// Where a point of the run is.
  int YOf(const RunPoint& at) const;
  /// Where a call begins.
  int YOfCall(std::size_t call) const;
};

/// The runs side by side: phases of one title, in one order, stand in one row.
struct TimelineLayout {
  std::vector<RunPlaces> runs;
  std::vector<std::pair<int, int>> rows;  // top and height
  int bottom = 0;
};

inline constexpr int kTextLineHeight = 15;

/// Places runs from `top` down. Console texts are wrapped after so many characters.
TimelineLayout PlaceRuns(std::span<const RunHistory> runs, int top, std::size_t charactersOfALine);

/// Cuts a text after the last blank that fits into so many characters, or within a word that is too
/// long.
std::vector<std::string> WrappedText(const std::string& text, std::size_t characters);

/// A console line as the picture shows it: without the name of the program, which is always the
/// same.
std::string ShownText(const HistoryLine& line);

}  // namespace vorn::lab

#pragma once

// One run as columns of a picture: from its phases on the left to its console lines on the right.

#include "lab/svg_canvas.h"
#include "lab/timeline_layout.h"

#include <cstddef>
#include <vector>

namespace vorn::lab {

// In pixels.
inline constexpr int kGap = 14;
inline constexpr int kHeadHeight = 132;  // of the names above the columns

/// What is drawn of every run, so that runs side by side have the same columns.
struct RunColumns {
  std::vector<std::size_t> families;  // indexes of CallFamilies()
  std::size_t characters = 0;         // of a console line

  int ConsoleWidth() const;
};

/// Draws one run at `x`, its headings from `top` on and the rest where the layout has it. Returns
/// where its columns end on the right.
int PaintRun(SvgCanvas& canvas, const TimelineLayout& layout, const RunPlaces& places,
             const RunColumns& columns, int x, int top);

}  // namespace vorn::lab

#pragma once

// The picture of one run, or of two side by side, as one SVG that needs nothing else.

#include "lab/run_history.h"

#include <span>
#include <string>

namespace vorn::lab {

/// One or two runs. The picture has its own styles, for light and dark surroundings, and titles for
/// readers who do not see it.
std::string TimelineSvg(std::span<const RunHistory> runs);

/// What a run was asked to do, as a command line.
std::string CommandLineText(const RunHistory& run);

/// Whether a line is the result of a run that failed or was deferred.
bool IsBadResult(const HistoryLine& line);

/// "exit status 11", or that something ended the process.
std::string EndText(const RunHistory& run);

}  // namespace vorn::lab

#pragma once

// The file that a timeline is written to: a page, or the picture alone when its name ends in .svg.

#include "lab/run_history.h"

#include <filesystem>
#include <fstream>
#include <span>

namespace vorn::lab {

/// It is opened before the run, so that a name that cannot be written changes no machine.
class TimelineFile {
 public:
  /// Throws BadInput when the file cannot be written.
  explicit TimelineFile(const std::filesystem::path& path);

  /// Draws one run, or two side by side. Throws std::system_error.
  void Write(std::span<const RunHistory> runs);

 private:
  std::filesystem::path path_;
  std::ofstream file_;
};

}  // namespace vorn::lab

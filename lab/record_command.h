#pragma once

// The command `record`: keeps a run as a recording, which vorn_rehearsal plays.

#include "lab/run_program.h"

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace vorn::lab {

/// The file that a recording is written to. It is opened before the run, so that a name that cannot
/// be written changes no machine.
class RecordingFile {
 public:
  /// Throws BadInput when the file cannot be written.
  explicit RecordingFile(const std::filesystem::path& path);

  /// Writes what the run of the program with these arguments printed. Throws std::system_error.
  void Write(const std::vector<std::string>& arguments, const ProgramRun& run);

 private:
  std::filesystem::path path_;
  std::ofstream file_;
};

}  // namespace vorn::lab

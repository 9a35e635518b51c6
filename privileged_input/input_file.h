#pragma once

// Input files: what the command line, or the platform, names for reading.

#include "privileged_input/file.h"

#include <string>

namespace vorn::privileged_input {

/// The INF that a command works on: the snapshot's private copy, which is open for as long as the
/// command runs, and its path as the platform's installer is given it. The path is empty and the
/// file not open when there is no copy.
struct InputInf {
  std::u16string path;
  File file;
};

/// Opens the file at an absolute path for reading, up to kMaxInputFileSize bytes. Not open, with
/// the last error, when it is not a plain file with one name on a path without links.
File OpenInputFile(const std::u16string& path);

}  // namespace vorn::privileged_input

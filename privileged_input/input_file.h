#pragma once

// Files that the command line or the platform names for reading.

#include "privileged_input/file.h"

#include <string>

namespace vorn::privileged_input {

/// The INF that a command works on: the snapshot's private copy, open while the command runs.
struct InputInf {
  std::u16string path;  // for the platform's installer; empty without a copy
  File file;            // not open without a copy
};

/// Opens the file at an absolute path for reading, as File::OpenAbsolute, of at most
/// kMaxInputFileSize bytes.
File OpenInputFile(const std::u16string& path);

}  // namespace vorn::privileged_input

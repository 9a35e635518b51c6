#pragma once

// ProtectedFiles: the files that only the system may have written, opened by path and kept open for
// the rest of the run, so that what was checked once stays what it was.

#include "privileged_input/absolute_path.h"
#include "privileged_input/file.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace vorn::privileged_input {

/// Largest size of a protected file, in bytes.
inline constexpr std::uint64_t kMaxProtectedFileSize = 65536;

class ProtectedFiles {
 public:
  /// Opens a file that must be owned and guarded by the system, deletable by handle, and keeps it;
  /// a path that is kept already (its text compared exactly) gives the same open file unchecked. A
  /// missing file leaves ERROR_FILE_NOT_FOUND as last error, one with the wrong owner or access
  /// list ERROR_ACCESS_DENIED, no path ERROR_INVALID_NAME.
  File OpenProtectedFile(const std::optional<AbsolutePath>& path);

  /// Keeps an open file under that path.
  void Keep(const AbsolutePath& path, File file);

  /// Lets go of the file that is kept under that path, if there is one.
  void Forget(const AbsolutePath& path);

 private:
  std::map<std::u16string, File> files_;
};

}  // namespace vorn::privileged_input

#pragma once

// ProtectedFiles: files that only the system can have written, opened by path and kept open for the
// rest of the run, so that a file that was checked cannot change.

#include "privileged_input/absolute_path.h"
#include "privileged_input/file.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>

namespace vorn::privileged_input {

/// Largest protected file in bytes.
inline constexpr std::uint64_t kMaxProtectedFileSize = 65536;

class ProtectedFiles {
 public:
  /// Opens a file that HasProtectedOwnerAndDacl, deletable by handle, and keeps it. A path that is
  /// already kept, its text compared exactly, returns the open file unchecked. The last error is
  /// ERROR_FILE_NOT_FOUND for a missing file, ERROR_ACCESS_DENIED for a wrong owner or access list,
  /// ERROR_INVALID_NAME without a path.
  File OpenProtectedFile(const std::optional<AbsolutePath>& path);

  /// Keeps an open file under a path.
  void Keep(const AbsolutePath& path, File file) {
    files_.insert_or_assign(path.Text(), std::move(file));
  }

  /// Releases the file kept under a path, if any.
  void Forget(const AbsolutePath& path) { files_.erase(path.Text()); }

 private:
  std::map<std::u16string, File> files_;
};

}  // namespace vorn::privileged_input

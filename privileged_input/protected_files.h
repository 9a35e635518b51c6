#pragma once

// Files opened by path: those that only the system may have written, kept open in a cache of the
// process, and input files that the command line names.

#include "privileged_input/file.h"

#include <cstdint>
#include <string>

namespace vorn::privileged_input {

/// Largest size of a protected file, in bytes.
inline constexpr std::uint64_t kMaxProtectedFileSize = 65536;

/// Opens a file that must be owned and guarded by the system, deletable by handle, and keeps it in
/// the cache; a path that is there already (compared exactly) gives the same open file unchecked.
/// A missing file leaves ERROR_FILE_NOT_FOUND as last error, one with the wrong owner or access
/// list ERROR_ACCESS_DENIED.
File OpenProtectedFile(const std::u16string& path);

/// Opens an input file for reading. The path of the package snapshot's INF gives the snapshot's own
/// open file.
File OpenInputFile(const std::u16string& path);

/// Puts an open file into the cache of OpenProtectedFile under that path.
void CacheProtectedFile(const std::u16string& path, File file);

/// Takes a path out of the cache.
void ForgetProtectedFile(const std::u16string& path);

/// Empties the cache. The last error stays as it was.
void ReleaseProtectedFiles();

}  // namespace vorn::privileged_input

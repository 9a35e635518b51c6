#pragma once

// DOS paths as kernel32 reads them: made absolute, and turned into native names.

#include "platform/simulated/file_system.h"

#include <string>
#include <string_view>

namespace vorn::platform::simulated {

/// The absolute form of a path: separators as backslashes and single, "." and ".." taken as steps,
/// blanks and dots at the end dropped, device names as "\\.\NUL". Empty for an empty path.
std::u16string FullPath(const FileSystem& files, std::u16string_view path);

/// The native name of a path; "\\?\" paths pass as they are. Empty for an empty path.
std::u16string ToNtPath(const FileSystem& files, std::u16string_view path);

}  // namespace vorn::platform::simulated

#pragma once

// DOS paths as kernel32 understands them: made absolute, and translated into native names.

#include "platform/simulated/file_system.h"

#include <string>
#include <string_view>

namespace vorn::platform::simulated {

/// The absolute form of a path: separators become single backslashes, "." and ".." are resolved,
/// trailing blanks and dots are dropped, and device names become "\\.\NUL". Empty for an empty
/// path.
std::u16string FullPath(const FileSystem& files, std::u16string_view path);

/// The native name of a path; "\\?\" paths pass unchanged. Empty for an empty path.
std::u16string ToNtPath(const FileSystem& files, std::u16string_view path);

}  // namespace vorn::platform::simulated

#pragma once

// Paths as the command line gives them.

#include <string_view>

namespace vorn {

/// Whether a path is absolute on a drive letter, with backslashes and safe names only. Otherwise
/// the last error is ERROR_INVALID_NAME. Looks at the text alone.
bool IsAbsolutePath(std::u16string_view path);

/// What stands before the last backslash or slash; empty when there is neither.
std::u16string_view CutLastComponent(std::u16string_view path);

}  // namespace vorn

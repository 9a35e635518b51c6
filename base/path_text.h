#pragma once

// Paths as text: taken apart and put together without a look at the disk.

#include <string>
#include <string_view>

namespace vorn {

/// What stands before the last backslash or slash; empty when there is neither.
std::u16string_view CutLastComponent(std::u16string_view path);

/// The text after the last backslash or slash; the whole text when there is neither.
std::u16string_view FileNameComponent(std::u16string_view path);

/// The path of `name` in `folder`: joined by one backslash, which a volume root already has.
std::u16string JoinPath(std::u16string_view folder, std::u16string_view name);

}  // namespace vorn

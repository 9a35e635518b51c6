#pragma once

// Splitting and joining paths as text, without touching the disk.

#include <string>
#include <string_view>

namespace vorn {

/// The text before the last backslash or slash; empty if there is neither.
std::u16string_view CutLastComponent(std::u16string_view path);

/// The text after the last backslash or slash; the whole text if there is neither.
std::u16string_view FileNameComponent(std::u16string_view path);

/// `folder` and `name` joined by one backslash; a volume root already ends in one.
std::u16string JoinPath(std::u16string_view folder, std::u16string_view name);

}  // namespace vorn

#pragma once

// Texts in files of lines: a control character and "%" are written as "%" and two hexadecimal
// digits, so that a text never ends its line or its column.

#include <optional>
#include <string>
#include <string_view>

namespace vorn::rehearsal {

std::string Escape(std::string_view text);

/// None when a "%" is not followed by two hexadecimal digits.
std::optional<std::string> Unescape(std::string_view text);

}  // namespace vorn::rehearsal

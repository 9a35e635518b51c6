#pragma once

// Markup: puts together SVG and HTML. Every text from outside goes through Escaped, so that none of
// it becomes markup.

#include <string>
#include <string_view>

namespace vorn::lab {

/// A text for content and attributes. What XML cannot hold at all becomes U+FFFD.
std::string Escaped(std::string_view text);

/// How people write a time of the machine: "0 s", "500 ms", "2.5 s", "90 s", "5 min", "1 h".
std::string TimeText(unsigned long long milliseconds);

/// "1,234"
std::string CountText(unsigned long long count);

}  // namespace vorn::lab

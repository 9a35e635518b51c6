#pragma once

// JSON texts: written for people to read, and parsed strictly.

#include "lab/json.h"

#include <string>
#include <string_view>

namespace vorn::lab {

/// The text of a value, ending with a line feed. Whatever fits on one line is written on one line.
std::string ToReadableText(const Json& json);

/// The text of a value on one line, without a line feed.
std::string ToLineText(const Json& json);

/// Parses a text. Throws BadInput, with line and column, for invalid JSON, for a key that appears
/// twice in its object, and for values nested more than kMaxNesting deep.
Json ParseJson(std::string_view text);

inline constexpr int kMaxNesting = 64;

}  // namespace vorn::lab

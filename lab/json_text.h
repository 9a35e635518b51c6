#pragma once

// JSON texts: written as a person wants to read them, and read strictly.

#include "lab/json.h"

#include <string>
#include <string_view>

namespace vorn::lab {

/// The text of a value, ended by a line feed. What fits a line stands on one line.
std::string ToReadableText(const Json& json);

/// The value of a text. Throws BadInput, with line and column, for what is no JSON, for a key that
/// stands twice in its object, and for values that are nested more than kMaxNesting deep.
Json ParseJson(std::string_view text);

inline constexpr int kMaxNesting = 64;

}  // namespace vorn::lab

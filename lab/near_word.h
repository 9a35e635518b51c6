#pragma once

// A word that is not known, and the known one that was probably meant.

#include <span>
#include <string>
#include <string_view>

namespace vorn::lab {

/// The known word that differs from `word` in the fewest letters, if they are few: added, left out,
/// replaced, swapped with the next, or in the other case. Empty when none is near.
std::string_view NearWord(std::string_view word, std::span<const std::string_view> known);

/// "; did you mean NEAR?", or else "; WHAT: a, b, c" with everything that is known.
std::string Suggestion(std::string_view word, std::string_view what,
                       std::span<const std::string_view> known);

/// "a, b, c".
std::string Listed(std::span<const std::string_view> words);

}  // namespace vorn::lab

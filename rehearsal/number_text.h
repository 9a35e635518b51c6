#pragma once

// Decimal numbers in texts.

#include <charconv>
#include <optional>
#include <string_view>

namespace vorn::rehearsal {

/// The number that the whole text is; none for anything else.
template <class Number>
std::optional<Number> ParseNumber(std::string_view text) {
  Number number{};
  const char* const end = text.data() + text.size();
  const auto [stopped, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc{} || stopped != end) return std::nullopt;
  return number;
}

}  // namespace vorn::rehearsal

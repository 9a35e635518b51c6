#include "rehearsal/escaped_text.h"

#include <charconv>
#include <cstdint>

namespace vorn::rehearsal {

std::string Escape(std::string_view text) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string escaped;
  escaped.reserve(text.size());
  for (const char unit : text) {
    const auto byte = static_cast<std::uint8_t>(unit);
    if (byte < 0x20 || byte == 0x7F || unit == '%') {
      escaped += {'%', kDigits[byte >> 4U], kDigits[byte & 0xFU]};
    } else {
      escaped += unit;
    }
  }
  return escaped;
}

std::optional<std::string> Unescape(std::string_view text) {
  std::string plain;
  plain.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      plain += text[i];
      continue;
    }
    std::uint8_t byte = 0;
    const std::string_view digits = text.substr(i + 1, 2);
    const char* const end = digits.data() + digits.size();
    const auto [stopped, error] = std::from_chars(digits.data(), end, byte, 16);
    if (digits.size() != 2 || error != std::errc{} || stopped != end) return std::nullopt;
    plain += static_cast<char>(byte);
    i += 2;
  }
  return plain;
}

}  // namespace vorn::rehearsal

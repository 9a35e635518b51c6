#include "lab/bad_input.h"

#include <array>
#include <cstdio>

namespace vorn::lab {

std::string InOneLine(std::string_view text) {
  constexpr unsigned kFirstPrintable = 0x20;
  constexpr unsigned kDelete = 0x7F;
  std::string line;
  for (const char unit : text) {
    const auto value = static_cast<unsigned char>(unit);
    if (value >= kFirstPrintable && value != kDelete) {
      line += unit;
      continue;
    }
    std::array<char, 7> escaped = {};
    std::snprintf(escaped.data(), escaped.size(), "\\u%04x", static_cast<unsigned>(value));
    line += escaped.data();
  }
  return line;
}

}  // namespace vorn::lab

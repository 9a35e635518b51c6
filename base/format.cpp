#include "base/format.h"

#include <algorithm>

namespace vorn::format_internal {

namespace {

/// Units that the texts of a pattern take, as a rule.
constexpr std::size_t kUsualTexts = 80;

std::u16string Digits(std::uint64_t value, Radix radix) {
  const auto base = static_cast<std::uint64_t>(radix);
  std::u16string digits;
  do {
    digits.push_back(u"0123456789ABCDEF"[value % base]);
    value /= base;
  } while (value != 0);
  std::reverse(digits.begin(), digits.end());
  return digits;
}

std::u16string Padded(std::u16string digits, std::size_t width) {
  if (digits.size() < width) digits.insert(0, width - digits.size(), u'0');
  return digits;
}

std::u16string Convert(const Conversion& conversion, const Value& value) {
  if (const auto* text = std::get_if<std::u16string_view>(&value)) return std::u16string(*text);
  if (const auto* number = std::get_if<std::uint64_t>(&value)) {
    return Padded(Digits(*number, conversion.radix), conversion.width);
  }
  const std::int64_t number = std::get<std::int64_t>(value);
  const std::u16string digits =
      Digits(static_cast<std::uint64_t>(number < 0 ? -number : number), Radix::Decimal);
  return number < 0 ? u"-" + digits : digits;
}

}  // namespace

std::u16string Expand(std::u16string_view pattern, const Value* values) {
  std::u16string out;
  out.reserve(pattern.size() + kUsualTexts);
  while (!pattern.empty()) {
    const std::size_t percent = std::min(pattern.find(u'%'), pattern.size());
    out += pattern.substr(0, percent);
    pattern.remove_prefix(percent);
    if (pattern.empty()) break;
    if (pattern.substr(0, 2) == u"%%") {
      out.push_back(u'%');
      pattern.remove_prefix(2);
      continue;
    }
    const Conversion conversion = ParseConversion(pattern);
    out += Convert(conversion, *values++);
    pattern.remove_prefix(conversion.length);
  }
  return out;
}

}  // namespace vorn::format_internal

#include "base/text.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace vorn {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool IsHighSurrogate(char16_t unit) {
  return unit >= 0xD800 && unit <= 0xDBFF;
}
bool IsLowSurrogate(char16_t unit) {
  return unit >= 0xDC00 && unit <= 0xDFFF;
}

void AppendUtf8(std::string& out, char32_t point) {
  const auto byte = [&out](char32_t value) { out.push_back(static_cast<char>(value)); };
  const auto trail = [&](int shift) { byte(0x80 | ((point >> shift) & 0x3F)); };
  if (point < 0x80) return byte(point);
  if (point < 0x800) {
    byte(0xC0 | (point >> 6));
  } else if (point < 0x10000) {
    byte(0xE0 | (point >> 12));
    trail(6);
  } else {
    byte(0xF0 | (point >> 18));
    trail(12);
    trail(6);
  }
  trail(0);
}

void AppendUtf16(std::u16string& out, char32_t point) {
  if (point < 0x10000) {
    out.push_back(static_cast<char16_t>(point));
    return;
  }
  const char32_t rest = point - 0x10000;
  out.push_back(static_cast<char16_t>(0xD800 + (rest >> 10)));
  out.push_back(static_cast<char16_t>(0xDC00 + (rest & 0x3FF)));
}

struct Decoded {
  char32_t point;
  std::size_t length;
};

/// Decodes the first sequence of `bytes`, which is not empty.
Decoded DecodeUtf8(std::string_view bytes) {
  const auto at = [&bytes](std::size_t i) {
    return static_cast<char32_t>(static_cast<unsigned char>(bytes[i]));
  };
  const char32_t lead = at(0);
  if (lead < 0x80) return {lead, 1};
  const std::size_t length = lead >= 0xF0 && lead < 0xF5   ? 4
                             : lead >= 0xE0 && lead < 0xF0 ? 3
                             : lead >= 0xC2 && lead < 0xE0 ? 2
                                                           : 0;
  if (length == 0 || bytes.size() < length) return {kReplacement, 1};
  char32_t point = lead & (0xFFU >> (length + 1));
  for (std::size_t i = 1; i < length; ++i) {
    if ((at(i) & 0xC0) != 0x80) return {kReplacement, i};
    point = (point << 6) | (at(i) & 0x3F);
  }
  constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool surrogate = point >= 0xD800 && point <= 0xDFFF;
  if (point < kSmallest[length] || point > 0x10FFFF || surrogate) return {kReplacement, length};
  return {point, length};
}

/// Appends the ASCII characters at the beginning of a text, and returns how many there were.
template <class Target, class Source>
std::size_t AppendAscii(Target& out, const Source& text) {
  const auto end =
      std::find_if(text.begin(), text.end(), [](auto unit) { return (unit & ~0x7F) != 0; });
  const auto count = static_cast<std::size_t>(end - text.begin());
  const std::size_t before = out.size();
  out.resize(before + count);
  std::transform(text.begin(), end, out.begin() + static_cast<std::ptrdiff_t>(before),
                 [](auto unit) { return static_cast<typename Target::value_type>(unit); });
  return count;
}

template <class Fold>
std::u16string Folded(std::u16string_view text, Fold fold) {
  std::u16string result(text);
  std::transform(result.begin(), result.end(), result.begin(), fold);
  return result;
}

}  // namespace

std::u16string ToLowerAscii(std::u16string_view text) {
  return Folded(text, [](char16_t unit) { return ToLowerAscii(unit); });
}

std::u16string ToUpperAscii(std::u16string_view text) {
  return Folded(text, [](char16_t unit) { return ToUpperAscii(unit); });
}

std::size_t CommonUnits(std::u16string_view left, std::u16string_view right) {
  const std::size_t shorter = std::min(left.size(), right.size());
  std::size_t common = 0;
  // Ids begin alike, so several units at a time.
  std::uint64_t some = 0;
  std::uint64_t others = 0;
  constexpr std::size_t kStep = sizeof some / sizeof(char16_t);
  static_assert(std::endian::native == std::endian::little, "the first unit has the lowest bits");
  for (; common + kStep <= shorter; common += kStep) {
    std::memcpy(&some, left.data() + common, sizeof some);
    std::memcpy(&others, right.data() + common, sizeof others);
    if (some != others)
      return common + static_cast<std::size_t>(std::countr_zero(some ^ others)) / 16;
  }
  while (common < shorter && left[common] == right[common])
    ++common;
  return common;
}

bool AreSameUnits(std::u16string_view left, std::u16string_view right) {
  return left.size() == right.size() &&
         (left.empty() ||
          std::memcmp(left.data(), right.data(), left.size() * sizeof(char16_t)) == 0);
}

void SortByUnits(std::vector<std::u16string>& texts) {
  const auto isBefore = [](std::u16string_view left, std::u16string_view right) {
    const std::size_t common = CommonUnits(left, right);
    if (common == right.size()) return false;
    return common == left.size() || left[common] < right[common];
  };
  if (!std::is_sorted(texts.begin(), texts.end(), isBefore)) {
    std::sort(texts.begin(), texts.end(), isBefore);
  }
}

bool EqualsIgnoringCase(std::u16string_view left, std::u16string_view right) {
  return left.size() == right.size() && CompareIgnoringCase(left, right) == 0;
}

int CompareIgnoringCase(std::u16string_view left, std::u16string_view right) {
  const std::size_t common = std::min(left.size(), right.size());
  for (std::size_t i = CommonUnits(left, right); i < common; ++i) {
    const int difference = int{ToLowerAscii(left[i])} - int{ToLowerAscii(right[i])};
    if (difference != 0) return difference;
  }
  if (left.size() == right.size()) return 0;
  return left.size() < right.size() ? -1 : 1;
}

bool IsAsciiDigit(char16_t unit) {
  return unit >= u'0' && unit <= u'9';
}

bool IsAsciiLetter(char16_t unit) {
  const char16_t lower = ToLowerAscii(unit);
  return lower >= u'a' && lower <= u'z';
}

bool IsSingleLine(std::u16string_view text, std::size_t maxLength) {
  return !text.empty() && text.size() <= maxLength &&
         std::none_of(text.begin(), text.end(),
                      [](char16_t unit) { return unit == u'\r' || unit == u'\n'; });
}

std::u16string ToHexText(std::span<const std::uint8_t> bytes) {
  constexpr std::u16string_view kDigits = u"0123456789abcdef";
  std::u16string text;
  text.reserve(2 * bytes.size());
  for (const std::uint8_t byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0xF];
  }
  return text;
}

bool IsHexText(std::u16string_view text) {
  return text.find_first_not_of(u"0123456789abcdefABCDEF") == std::u16string_view::npos;
}

std::string ToUtf8(std::u16string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = AppendAscii(out, text); i < text.size(); ++i) {
    const char16_t unit = text[i];
    const bool pair = IsHighSurrogate(unit) && i + 1 < text.size() && IsLowSurrogate(text[i + 1]);
    if (pair) {
      const char32_t high = unit - 0xD800U;
      const char32_t low = text[++i] - 0xDC00U;
      AppendUtf8(out, 0x10000 + (high << 10) + low);
    } else {
      const bool lone = IsHighSurrogate(unit) || IsLowSurrogate(unit);
      AppendUtf8(out, lone ? kReplacement : unit);
    }
  }
  return out;
}

std::u16string ToUtf16(std::string_view text) {
  std::u16string out;
  out.reserve(text.size());
  text.remove_prefix(AppendAscii(out, text));
  while (!text.empty()) {
    const Decoded decoded = DecodeUtf8(text);
    AppendUtf16(out, decoded.point);
    text.remove_prefix(decoded.length);
  }
  return out;
}

}  // namespace vorn

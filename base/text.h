#pragma once

// UTF-16 text: comparison, case folding, hexadecimal digits, UTF-8. Only ASCII letters are folded,
// as in the C locale, which the program never leaves.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vorn {

/// `A`-`Z` to `a`-`z`; other code units are unchanged.
constexpr char16_t ToLowerAscii(char16_t unit) {
  return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + 0x20) : unit;
}

/// `a`-`z` to `A`-`Z`; other code units are unchanged.
constexpr char16_t ToUpperAscii(char16_t unit) {
  return unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - 0x20) : unit;
}

std::u16string ToLowerAscii(std::u16string_view text);
std::u16string ToUpperAscii(std::u16string_view text);

/// How many units two texts have in common at their beginning.
std::size_t CommonUnits(std::u16string_view left, std::u16string_view right);

/// Whether two texts are equal, case included.
bool AreSameUnits(std::u16string_view left, std::u16string_view right);

/// Whether two texts are equal apart from the case of ASCII letters.
bool EqualsIgnoringCase(std::u16string_view left, std::u16string_view right);

/// Sorts texts by their code units. Quick if they are sorted, or begin alike.
void SortByUnits(std::vector<std::u16string>& texts);

/// Compares the lower-cased code units: negative, 0 or positive, as _wcsicmp.
int CompareIgnoringCase(std::u16string_view left, std::u16string_view right);

bool IsAsciiDigit(char16_t unit);
bool IsAsciiLetter(char16_t unit);

/// Whether a text has 1 to `maxLength` units and no carriage return or line feed.
bool IsSingleLine(std::u16string_view text, std::size_t maxLength);

/// Two lower-case hexadecimal digits per byte, high nibble first.
std::u16string ToHexText(std::span<const std::uint8_t> bytes);

/// Whether a text holds nothing but hexadecimal digits, of either case.
bool IsHexText(std::u16string_view text);

/// UTF-8 of a UTF-16 text; an unpaired surrogate becomes U+FFFD.
std::string ToUtf8(std::u16string_view text);

/// UTF-16 of a UTF-8 text; a malformed sequence becomes U+FFFD.
std::u16string ToUtf16(std::string_view text);

}  // namespace vorn

#pragma once

// Comparison and folding of UTF-16 texts. Every rule here folds ASCII letters only, as the platform
// does in the C locale that this program never leaves.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace vorn {

/// `A`-`Z` to `a`-`z`; every other code unit as it is.
constexpr char16_t ToLowerAscii(char16_t unit) {
  return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + 0x20) : unit;
}

/// `a`-`z` to `A`-`Z`; every other code unit as it is.
constexpr char16_t ToUpperAscii(char16_t unit) {
  return unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - 0x20) : unit;
}

std::u16string ToLowerAscii(std::u16string_view text);
std::u16string ToUpperAscii(std::u16string_view text);

/// Whether two texts are equal but for the case of ASCII letters.
bool EqualsIgnoringCase(std::u16string_view left, std::u16string_view right);

/// Orders two texts by their lower-cased code units: negative, 0 or positive (as _wcsicmp).
int CompareIgnoringCase(std::u16string_view left, std::u16string_view right);

bool IsAsciiDigit(char16_t unit);
bool IsAsciiLetter(char16_t unit);

/// Whether a text has 1 to `maxLength` units and neither a carriage return nor a line feed.
bool IsSingleLine(std::u16string_view text, std::size_t maxLength);

/// Two lower-case hexadecimal digits for each byte, the high nibble first.
std::u16string ToHexText(std::span<const std::uint8_t> bytes);

/// Whether a text consists of hexadecimal digits of either case alone.
bool IsHexText(std::u16string_view text);

/// UTF-8 of a UTF-16 text; an unpaired surrogate becomes U+FFFD.
std::string ToUtf8(std::u16string_view text);

/// UTF-16 of a UTF-8 text; a malformed sequence becomes U+FFFD.
std::u16string ToUtf16(std::string_view text);

}  // namespace vorn

#include "lab/stored_name.h"

#include "base/text.h"

#include <cstdio>

namespace vorn::lab {

namespace {

constexpr std::size_t kDigits = 4;

bool IsHexDigit(char16_t unit) {
  return IsAsciiDigit(unit) || (unit >= u'A' && unit <= u'F') || (unit >= u'a' && unit <= u'f');
}

/// Whether the text starts with an escape.
bool IsEscape(std::u16string_view text) {
  if (text.size() <= kDigits || text[0] != u'%') return false;
  for (std::size_t i = 1; i <= kDigits; ++i) {
    if (!IsHexDigit(text[i])) return false;
  }
  return true;
}

bool IsSurrogate(char16_t unit) {
  return unit >= 0xD800 && unit <= 0xDFFF;
}

bool IsPair(std::u16string_view text) {
  return text.size() >= 2 && text[0] >= 0xD800 && text[0] <= 0xDBFF && text[1] >= 0xDC00 &&
         text[1] <= 0xDFFF;
}

std::string Escape(char16_t unit) {
  char escape[kDigits + 2];
  std::snprintf(escape, sizeof escape, "%%%04X", static_cast<unsigned>(unit));
  return escape;
}

char16_t Unescape(std::u16string_view escape) {
  unsigned value = 0;
  for (const char16_t digit : escape.substr(1, kDigits)) {
    const char16_t lower = ToLowerAscii(digit);
    value = value * 16 + static_cast<unsigned>(lower <= u'9' ? lower - u'0' : lower - u'a' + 10);
  }
  return static_cast<char16_t>(value);
}

}  // namespace

std::string ToStoredName(std::u16string_view name) {
  const bool onlyDots = name == u"." || name == u"..";
  std::string stored;
  for (std::size_t i = 0; i < name.size(); ++i) {
    const std::u16string_view rest = name.substr(i);
    if (IsPair(rest)) {
      stored += ToUtf8(rest.substr(0, 2));
      ++i;
    } else if (rest[0] == u'/' || rest[0] == u'\0' || IsSurrogate(rest[0]) || IsEscape(rest) ||
               (onlyDots && i == 0)) {
      stored += Escape(rest[0]);
    } else {
      stored += ToUtf8(rest.substr(0, 1));
    }
  }
  return stored;
}

bool FromStoredName(std::string_view stored, std::u16string& name) {
  const std::u16string text = ToUtf16(stored);
  if (ToUtf8(text) != stored) return false;
  name.clear();
  for (std::size_t i = 0; i < text.size(); ++i) {
    const std::u16string_view rest = std::u16string_view(text).substr(i);
    if (IsEscape(rest)) {
      name.push_back(Unescape(rest));
      i += kDigits;
    } else {
      name.push_back(text[i]);
    }
  }
  return true;
}

}  // namespace vorn::lab

#pragma once

// printf-style formatting whose patterns are checked against the argument types at compile time:
// %ls and %s (wide text), %zu (std::size_t), %lu, %u, %X and %lX with an optional zero-padded width
// (std::uint32_t), %d (std::int32_t), %%.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

namespace vorn {

namespace format_internal {

using Value = std::variant<std::u16string_view, std::uint64_t, std::int64_t>;

enum class Kind { None, Text, Size, Unsigned, Signed };

enum class Radix { Decimal = 10, Hexadecimal = 16 };

struct Conversion {
  Kind kind = Kind::None;
  Radix radix = Radix::Decimal;
  std::size_t width = 0;   // zero padded
  std::size_t length = 0;  // code units of the whole conversion, percent sign included
};

/// Parses the conversion at the start of `pattern`, its percent sign; length 0 if unknown.
constexpr Conversion ParseConversion(std::u16string_view pattern) {
  Conversion conversion;
  std::size_t i = 1;
  if (i < pattern.size() && pattern[i] == u'0') {
    for (++i; i < pattern.size() && pattern[i] >= u'0' && pattern[i] <= u'9'; ++i) {
      conversion.width = conversion.width * 10 + static_cast<std::size_t>(pattern[i] - u'0');
    }
  }
  const auto rest = pattern.substr(i);
  const auto is = [rest](std::u16string_view word) { return rest.substr(0, word.size()) == word; };
  const auto known = [&](Kind kind, std::size_t letters, Radix radix = Radix::Decimal) {
    conversion.kind = kind;
    conversion.radix = radix;
    conversion.length = i + letters;
    return conversion;
  };
  if (is(u"ls")) return known(Kind::Text, 2);
  if (is(u"s")) return known(Kind::Text, 1);
  if (is(u"zu")) return known(Kind::Size, 2);
  if (is(u"lu")) return known(Kind::Unsigned, 2);
  if (is(u"lX")) return known(Kind::Unsigned, 2, Radix::Hexadecimal);
  if (is(u"u")) return known(Kind::Unsigned, 1);
  if (is(u"X")) return known(Kind::Unsigned, 1, Radix::Hexadecimal);
  if (is(u"d")) return known(Kind::Signed, 1);
  return conversion;
}

/// The kind of conversion for an argument of type T; Kind::None if there is none.
template <class T>
inline constexpr Kind kKindOf = std::is_convertible_v<const T&, std::u16string_view> ? Kind::Text
                                : std::is_same_v<T, std::size_t>                     ? Kind::Size
                                : std::is_same_v<T, std::uint32_t> ? Kind::Unsigned
                                : std::is_same_v<T, std::int32_t>  ? Kind::Signed
                                                                   : Kind::None;

template <class T>
Value ToValue(const T& argument) {
  if constexpr (std::is_convertible_v<const T&, std::u16string_view>) {
    return std::u16string_view(argument);
  } else if constexpr (std::is_signed_v<T>) {
    return std::int64_t{argument};
  } else {
    return std::uint64_t{argument};
  }
}

std::u16string Expand(std::u16string_view pattern, const Value* values);

// Not constexpr: a pattern that disagrees with its arguments calls it and so does not compile.
[[noreturn]] void PatternDoesNotMatchItsArguments();

template <class... Arguments>
class Pattern {
 public:
  template <class Text>
  consteval Pattern(const Text& text) : text_(text) {  // NOLINT(google-explicit-constructor)
    constexpr std::size_t count = sizeof...(Arguments);
    const Kind kinds[count + 1] = {kKindOf<Arguments>..., Kind::None};
    std::size_t used = 0;
    for (std::size_t i = 0; i < text_.size(); ++i) {
      if (text_[i] != u'%') continue;
      if (i + 1 < text_.size() && text_[i + 1] == u'%') {
        ++i;
        continue;
      }
      const Conversion conversion = ParseConversion(text_.substr(i));
      if (conversion.length == 0 || used == count || conversion.kind != kinds[used]) {
        PatternDoesNotMatchItsArguments();
      }
      ++used;
      i += conversion.length - 1;
    }
    if (used != count) PatternDoesNotMatchItsArguments();
  }
  constexpr std::u16string_view Text() const { return text_; }

 private:
  std::u16string_view text_;
};

}  // namespace format_internal

/// A pattern for these argument types; a literal that does not match them does not compile.
template <class... Arguments>
using FormatPattern = format_internal::Pattern<std::type_identity_t<Arguments>...>;

/// Expands the pattern with its arguments.
template <class... Arguments>
std::u16string Format(FormatPattern<Arguments...> pattern, const Arguments&... arguments) {
  const format_internal::Value values[sizeof...(Arguments) + 1] = {
      format_internal::ToValue(arguments)..., std::uint64_t{0}};
  return format_internal::Expand(pattern.Text(), values);
}

/// Like Format, but truncates the text to `capacity` - 1 units: the buffer includes a terminator.
template <class... Arguments>
std::u16string FormatBounded(std::size_t capacity, FormatPattern<Arguments...> pattern,
                             const Arguments&... arguments) {
  std::u16string text = Format<Arguments...>(pattern, arguments...);
  if (text.size() >= capacity) text.resize(capacity - 1);
  return text;
}

}  // namespace vorn

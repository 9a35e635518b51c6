#include "base/text.h"

#include <gtest/gtest.h>

namespace vorn {
namespace {

TEST(IgnoringCase, FoldsOnlyAsciiLetters) {
  EXPECT_TRUE(EqualsIgnoringCase(u"Root\\VornAudio", u"ROOT\\vornaudio"));
  EXPECT_TRUE(EqualsIgnoringCase(u"", u""));
  EXPECT_FALSE(EqualsIgnoringCase(u"\u00E9", u"\u00C9"));
  EXPECT_FALSE(EqualsIgnoringCase(u"[", u"{"));
  EXPECT_FALSE(EqualsIgnoringCase(u"a", u"aa"));
}

TEST(IgnoringCase, OrdersByLowerCasedUnits) {
  EXPECT_LT(CompareIgnoringCase(u"ROOT\\MEDIA\\0000", u"root\\media\\0001"), 0);
  EXPECT_GT(CompareIgnoringCase(u"b", u"A"), 0);
  EXPECT_LT(CompareIgnoringCase(u"_", u"A"), 0);  // between "A" and "a"
  EXPECT_LT(CompareIgnoringCase(u"a", u"A1"), 0);
  EXPECT_GT(CompareIgnoringCase(u"A1", u"a"), 0);
  EXPECT_EQ(CompareIgnoringCase(u"aBc", u"AbC"), 0);
  EXPECT_EQ(CompareIgnoringCase(std::u16string_view(u"ab", 1), std::u16string_view(u"Ac", 1)), 0);
}

TEST(CommonUnits, CountsThemUpToTheFirstDifferenceOfAnyLength) {
  const std::u16string text = u"SWD\\MMDEVAPI\\{0.0.0.00000000}";
  for (std::size_t common = 0; common <= text.size(); ++common) {
    const std::u16string_view start = std::u16string_view(text).substr(0, common);
    EXPECT_EQ(CommonUnits(text, start), common);
    EXPECT_EQ(CommonUnits(start, text), common);
    EXPECT_EQ(CommonUnits(text, std::u16string(start) + u"!!!!!!!!"), common);
  }
}

TEST(CommonUnits, TellNullCharactersFromOthers) {
  const std::u16string nulls(8, u'\0');
  EXPECT_EQ(CommonUnits(nulls, nulls), 8U);
  EXPECT_EQ(CommonUnits(u"ROOT\\MED", nulls), 0U);
  EXPECT_EQ(CommonUnits(nulls, u"ROOT\\MED"), 0U);
}

TEST(SortedTexts, ComeInTheOrderOfTheirUnits) {
  std::vector<std::u16string> texts = {u"SWD\\b", u"SWD\\B", u"SWD\\a!", u"", u"\uFFFD", u"SWD\\a"};
  SortByUnits(texts);
  EXPECT_EQ(texts, (std::vector<std::u16string>{u"", u"SWD\\B", u"SWD\\a", u"SWD\\a!", u"SWD\\b",
                                                u"\uFFFD"}));
}

TEST(SameUnits, AreOfOneLengthAndOneCase) {
  EXPECT_TRUE(AreSameUnits(u"", {}));
  EXPECT_TRUE(AreSameUnits(u"oem1.inf", u"oem1.inf"));
  EXPECT_FALSE(AreSameUnits(u"oem1.inf", u"OEM1.inf"));
  EXPECT_FALSE(AreSameUnits(u"oem1.inf", u"oem1.in"));
  EXPECT_FALSE(AreSameUnits(u"oem1.in", u"oem1.inf"));
}

TEST(AsciiUnits, AreDigitsAndLettersOnlyWithinAscii) {
  for (char16_t unit = 0; unit < 0x180; ++unit) {
    const bool digit = std::u16string_view(u"0123456789").find(unit) != std::u16string_view::npos;
    const bool letter =
        std::u16string_view(u"abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ").find(unit) !=
        std::u16string_view::npos;
    EXPECT_EQ(IsAsciiDigit(unit), digit) << int{unit};
    EXPECT_EQ(IsAsciiLetter(unit), letter) << int{unit};
  }
}

TEST(AsciiUnits, AreTheOnlyOnesWhoseCaseChanges) {
  EXPECT_EQ(ToLowerAscii(std::u16string(u"AZaz@[`{\u00C4")), u"azaz@[`{\u00C4");
  EXPECT_EQ(ToUpperAscii(std::u16string(u"AZaz@[`{\u00E4")), u"AZAZ@[`{\u00E4");
}

TEST(SingleLine, HasAtLeastOneUnitAndNoMoreThanItsLimitAndNoLineBreak) {
  EXPECT_TRUE(IsSingleLine(u"a", 1));
  EXPECT_TRUE(IsSingleLine(u"ab\tc", 4));
  EXPECT_TRUE(IsSingleLine(u" ~\u2028", 4));
  EXPECT_FALSE(IsSingleLine(u"", 4));
  EXPECT_FALSE(IsSingleLine(u"abcde", 4));
  EXPECT_FALSE(IsSingleLine(u"a\rb", 4));
  EXPECT_FALSE(IsSingleLine(u"ab\n", 4));
}

TEST(HexText, HoldsTheDigitsOfEitherCaseAndNothingElse) {
  std::u16string accepted;
  for (char32_t unit = 0; unit <= 0xFFFF; ++unit) {
    const auto digit = static_cast<char16_t>(unit);
    if (IsHexText({&digit, 1})) accepted += digit;
  }
  EXPECT_EQ(accepted, u"0123456789ABCDEFabcdef");
}

TEST(Utf8, ConvertsEveryCharacterThereAndBack) {
  const std::u16string text = u"A\u00E9\u20AC\U0001F3B5\uFFFF";
  EXPECT_EQ(ToUtf8(text), "A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x8E\xB5\xEF\xBF\xBF");
  EXPECT_EQ(ToUtf16(ToUtf8(text)), text);
}

TEST(Utf8, LengthensItsSequencesAtTheRightCharacters) {
  const std::pair<std::u16string_view, std::string_view> rows[] = {
      {u"\u007F", "\x7F"},
      {u"\u0080", "\xC2\x80"},
      {u"\u07FF", "\xDF\xBF"},
      {u"\u0800", "\xE0\xA0\x80"},
      {u"\uD7FF", "\xED\x9F\xBF"},
      {u"\uE000", "\xEE\x80\x80"},
      {u"\U00010000", "\xF0\x90\x80\x80"},
      {u"\U000103FF", "\xF0\x90\x8F\xBF"},
      {u"\U0010FC00", "\xF4\x8F\xB0\x80"},
      {u"\U0010FFFF", "\xF4\x8F\xBF\xBF"},
  };
  for (const auto& [text, bytes] : rows) {
    EXPECT_EQ(ToUtf8(text), bytes);
    EXPECT_EQ(ToUtf16(bytes), text) << testing::PrintToString(bytes);
  }
}

TEST(Utf8, ReplacesAnUnpairedSurrogate) {
  for (const std::u16string_view text : {u"\xD800", u"\xDBFF", u"\xDC00", u"\xDFFF"}) {
    EXPECT_EQ(ToUtf8(text), "\xEF\xBF\xBD");
  }
  EXPECT_EQ(ToUtf8(std::u16string{u'\xD83C', u'a'}),
            "\xEF\xBF\xBD"
            "a");
}

TEST(Utf8, PairsSurrogatesOnlyWithSurrogatesOfTheOtherKind) {
  const std::string replaced = "\xEF\xBF\xBD";
  EXPECT_EQ(ToUtf8(std::u16string{0xD7FF, 0xDC00}), "\xED\x9F\xBF" + replaced);
  EXPECT_EQ(ToUtf8(std::u16string{0xDC00, 0xDC00}), replaced + replaced);
  EXPECT_EQ(ToUtf8(std::u16string{0xD800, 0xDBFF}), replaced + replaced);
  EXPECT_EQ(ToUtf8(std::u16string{0xD800, 0xE000}), replaced + "\xEE\x80\x80");
}

TEST(Utf8, ReplacesMalformedSequences) {
  EXPECT_EQ(ToUtf16("\xFF"), u"\uFFFD");
  EXPECT_EQ(ToUtf16("\x80"), u"\uFFFD");
  EXPECT_EQ(ToUtf16("\xBF"), u"\uFFFD");
  EXPECT_EQ(ToUtf16("\xC1\x80"), u"\uFFFD\uFFFD");
  EXPECT_EQ(ToUtf16("\xF5\x80\x80\x80"), u"\uFFFD\uFFFD\uFFFD\uFFFD");
  EXPECT_EQ(ToUtf16("\xC3"), u"\uFFFD");  // cut off
  EXPECT_EQ(ToUtf16("\xC3"
                    "a"),
            u"\uFFFDa");
  EXPECT_EQ(ToUtf16("\xE0\x80\x80"), u"\uFFFD");  // longer than it needs to be
  EXPECT_EQ(ToUtf16("\xED\xA0\x80"), u"\uFFFD");  // a surrogate
  EXPECT_EQ(ToUtf16("\xED\xBF\xBF"), u"\uFFFD");  // the last of them
  EXPECT_EQ(ToUtf16("\xF4\x90\x80\x80"), u"\uFFFD");
}

}  // namespace
}  // namespace vorn

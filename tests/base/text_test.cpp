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
  EXPECT_LT(CompareIgnoringCase(u"_", u"A"), 0);  // before "a", though behind "A"
  EXPECT_LT(CompareIgnoringCase(u"a", u"A1"), 0);
  EXPECT_GT(CompareIgnoringCase(u"A1", u"a"), 0);
  EXPECT_EQ(CompareIgnoringCase(u"aBc", u"AbC"), 0);
}

TEST(SingleLine, HasOneToItsMostUnitsAndNoLineBreak) {
  EXPECT_TRUE(IsSingleLine(u"a", 1));
  EXPECT_TRUE(IsSingleLine(u"ab\tc", 4));
  EXPECT_FALSE(IsSingleLine(u"", 4));
  EXPECT_FALSE(IsSingleLine(u"abcde", 4));
  EXPECT_FALSE(IsSingleLine(u"a\rb", 4));
  EXPECT_FALSE(IsSingleLine(u"ab\n", 4));
}

TEST(Utf8, CarriesEveryCharacterThereAndBack) {
  const std::u16string text = u"A\u00E9\u20AC\U0001F3B5\uFFFF";
  EXPECT_EQ(ToUtf8(text), "A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x8E\xB5\xEF\xBF\xBF");
  EXPECT_EQ(ToUtf16(ToUtf8(text)), text);
}

TEST(Utf8, ReplacesAnUnpairedSurrogate) {
  for (const std::u16string_view text : {u"\xD800", u"\xDC00"}) {
    EXPECT_EQ(ToUtf8(text), "\xEF\xBF\xBD");
  }
  EXPECT_EQ(ToUtf8(std::u16string{u'\xD83C', u'a'}),
            "\xEF\xBF\xBD"
            "a");
}

TEST(Utf8, ReplacesMalformedSequences) {
  EXPECT_EQ(ToUtf16("\xFF"), u"\uFFFD");
  EXPECT_EQ(ToUtf16("\xC3"), u"\uFFFD");  // cut off
  EXPECT_EQ(ToUtf16("\xC3"
                    "a"),
            u"\uFFFDa");
  EXPECT_EQ(ToUtf16("\xE0\x80\x80"), u"\uFFFD");  // longer than it needs to be
  EXPECT_EQ(ToUtf16("\xED\xA0\x80"), u"\uFFFD");  // a surrogate
  EXPECT_EQ(ToUtf16("\xF4\x90\x80\x80"), u"\uFFFD");
}

}  // namespace
}  // namespace vorn

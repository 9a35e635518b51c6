#include "base/format.h"

#include <gtest/gtest.h>

namespace vorn {
namespace {

TEST(Format, WritesAllDigitsOfASize) {
  EXPECT_EQ(Format(u"%zu", ~std::size_t{0}), u"18446744073709551615");
}

TEST(Format, FillsEachConversionWithItsArgument) {
  EXPECT_EQ(Format(u"%ls %s %zu %lu %u %d", u"a", std::u16string(u"b"), std::size_t{7},
                   std::uint32_t{8}, std::uint32_t{9}, std::int32_t{-10}),
            u"a b 7 8 9 -10");
}

TEST(Format, PadsHexadecimalErrorsToEightUpperCaseDigits) {
  EXPECT_EQ(Format(u"0x%08lX 0x%08X", std::uint32_t{0xabc}, std::uint32_t{0xE000020E}),
            u"0x00000ABC 0xE000020E");
}

TEST(Format, PadsDecimalFieldsOfTimeStamps) {
  EXPECT_EQ(Format(u"%04u-%02u.%03u", std::uint32_t{2026}, std::uint32_t{3}, std::uint32_t{4}),
            u"2026-03.004");
}

TEST(Format, WritesOnePercentSignForTwo) {
  EXPECT_EQ(Format(u"100%%"), u"100%");
  EXPECT_EQ(Format(u"%u%% of %ls", std::uint32_t{5}, u"all"), u"5% of all");
}

TEST(Format, WritesTheSmallestNumber) {
  EXPECT_EQ(Format(u"%d", std::int32_t{-2147483647 - 1}), u"-2147483648");
}

TEST(FormatBounded, CutsALongTextToTheCapacityLessTheTerminator) {
  EXPECT_EQ(FormatBounded(4, u"%ls", u"abcdef"), u"abc");
  EXPECT_EQ(FormatBounded(4, u"%ls", u"abcd"), u"abc") << "one more than fits";
}

TEST(FormatBounded, KeepsATextThatJustFits) {
  EXPECT_EQ(FormatBounded(4, u"%ls", u"abc"), u"abc");
}

TEST(Conversion, IsParsedWithItsKindAndWidth) {
  using format_internal::Conversion;
  using format_internal::Kind;
  using format_internal::ParseConversion;
  using format_internal::Radix;
  struct Row {
    const char16_t* pattern;
    Kind kind;
    Radix radix;
    std::size_t width;
    std::size_t length;
  };
  const Row rows[] = {
      {u"%ls", Kind::Text, Radix::Decimal, 0, 3},
      {u"%s.", Kind::Text, Radix::Decimal, 0, 2},
      {u"%zu)", Kind::Size, Radix::Decimal, 0, 3},
      {u"%lu", Kind::Unsigned, Radix::Decimal, 0, 3},
      {u"%08lX", Kind::Unsigned, Radix::Hexadecimal, 8, 5},
      {u"%012X9", Kind::Unsigned, Radix::Hexadecimal, 12, 5},
      {u"%03u.1", Kind::Unsigned, Radix::Decimal, 3, 4},
      {u"%09u", Kind::Unsigned, Radix::Decimal, 9, 4},
      {u"%010u", Kind::Unsigned, Radix::Decimal, 10, 5},
      {u"%d0", Kind::Signed, Radix::Decimal, 0, 2},
  };
  for (const Row& row : rows) {
    const Conversion read = ParseConversion(row.pattern);
    EXPECT_EQ(read.kind, row.kind) << testing::PrintToString(row.pattern);
    EXPECT_EQ(read.radix, row.radix) << testing::PrintToString(row.pattern);
    EXPECT_EQ(read.width, row.width) << testing::PrintToString(row.pattern);
    EXPECT_EQ(read.length, row.length) << testing::PrintToString(row.pattern);
  }
}

TEST(Conversion, HasNoLengthIfItIsUnknown) {
  for (const char16_t* pattern :
       {u"%", u"%0", u"%08", u"%0/u", u"%0:u", u"%q", u"%l", u"%8u", u"% d", u"%ld", u"%D"}) {
    EXPECT_EQ(format_internal::ParseConversion(pattern).length, 0U)
        << testing::PrintToString(pattern);
  }
}

TEST(Format, AcceptsEachTypeForItsOwnConversionOnly) {
  using format_internal::Kind;
  using format_internal::kKindOf;
  EXPECT_EQ(kKindOf<std::u16string>, Kind::Text);
  EXPECT_EQ(kKindOf<std::u16string_view>, Kind::Text);
  EXPECT_EQ(kKindOf<char16_t[4]>, Kind::Text);
  EXPECT_EQ(kKindOf<std::size_t>, Kind::Size);
  EXPECT_EQ(kKindOf<std::uint32_t>, Kind::Unsigned);
  EXPECT_EQ(kKindOf<std::int32_t>, Kind::Signed);
  EXPECT_EQ(kKindOf<std::int64_t>, Kind::None);
  EXPECT_EQ(kKindOf<std::uint16_t>, Kind::None);
  EXPECT_EQ(kKindOf<bool>, Kind::None);
}

TEST(Format, WritesNumbersAboveZeroWithoutASign) {
  EXPECT_EQ(Format(u"%d %d", std::int32_t{0}, std::int32_t{2147483647}), u"0 2147483647");
}

TEST(Format, KeepsTheTextAfterTheLastConversion) {
  EXPECT_EQ(Format(u"%u of %u.", std::uint32_t{1}, std::uint32_t{2}), u"1 of 2.");
  EXPECT_EQ(Format(u"plain"), u"plain");
  EXPECT_EQ(Format(u""), u"");
}

}  // namespace
}  // namespace vorn

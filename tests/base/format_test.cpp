#include "base/format.h"

#include <gtest/gtest.h>

namespace vorn {
namespace {

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

TEST(Format, WritesAPercentSignForTwo) {
  EXPECT_EQ(Format(u"100%%"), u"100%");
}

TEST(Format, WritesTheSmallestNumberWhole) {
  EXPECT_EQ(Format(u"%d", std::int32_t{-2147483647 - 1}), u"-2147483648");
}

TEST(FormatBounded, CutsALongTextToTheCapacityLessTheTerminator) {
  EXPECT_EQ(FormatBounded(4, u"%ls", u"abcdef"), u"abc");
}

TEST(FormatBounded, KeepsATextThatJustFits) {
  EXPECT_EQ(FormatBounded(4, u"%ls", u"abc"), u"abc");
}

}  // namespace
}  // namespace vorn

#include "lab/near_word.h"

#include <gtest/gtest.h>

namespace vorn::lab {
namespace {

std::string_view Near(std::string_view word, std::string_view known) {
  return NearWord(word, {&known, 1});
}

TEST(NearWord, CountsTwoLettersInTheWrongOrderOnce) {
  EXPECT_EQ(Near("og", "go"), "go");
  EXPECT_EQ(Near("og", "ga"), "");
}

TEST(NearWord, KeepsAtLeastOneLetterOfTheKnownWord) {
  EXPECT_EQ(Near("x", "y"), "");
  EXPECT_EQ(Near("x", "xy"), "xy");
}

TEST(NearWord, MayDifferInOneOfFourLettersAndOneMore) {
  EXPECT_EQ(Near("abcdefgh", "abcdeXYZ"), "abcdeXYZ");
  EXPECT_EQ(Near("abcdefgh", "abcdWXYZ"), "");
}

TEST(NearWord, IsTheFirstOfSeveralThatAreAsNear) {
  constexpr std::string_view kKnown[] = {"far", "ban", "bat", "can"};
  EXPECT_EQ(NearWord("bad", kKnown), "ban");
}

}  // namespace
}  // namespace vorn::lab

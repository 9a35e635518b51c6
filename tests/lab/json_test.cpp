#include "lab/json.h"

#include "lab/json_text.h"

#include <gtest/gtest.h>
#include <stdexcept>

namespace vorn::lab {
namespace {

TEST(Json, OfPairsThatStartWithATextIsAnObject) {
  EXPECT_EQ(ToReadableText({{"b", 1}, {"a", nullptr}}), "{\"b\": 1, \"a\": null}\n");
  EXPECT_EQ(ToReadableText({{"b", 1}, {"a", 2, 3}}), "[[\"b\", 1], [\"a\", 2, 3]]\n");
  EXPECT_EQ(ToReadableText({{1, "b"}}), "[[1, \"b\"]]\n");
}

TEST(Json, GetsAMemberAtTheEndAndKeepsItsPlace) {
  Json json;
  json["b"] = 1;
  json["a"] = true;
  json["b"] = "x";
  EXPECT_EQ(ToReadableText(json), "{\"b\": \"x\", \"a\": true}\n");
}

TEST(Json, TellsWhatIsNotThere) {
  const Json json = {{"a", Json::List()}};
  EXPECT_EQ(json.Find("b"), nullptr);
  EXPECT_EQ(Json("a").Find("a"), nullptr);
  EXPECT_EQ(json.As<Json::List>(), nullptr);
  EXPECT_THROW(json["b"], std::out_of_range);
  EXPECT_THROW(json["a"][0], std::out_of_range);
}

TEST(Json, KeepsNumbersAndTextsOfEveryKind) {
  const char* const text =
      "[18446744073709551615, -9223372036854775808, 0.5, \"\\\"\\u0001\xC3\xA9\", false, null]\n";
  EXPECT_EQ(ToReadableText(ParseJson(text)), text);
  EXPECT_NE(ParseJson("-0").As<std::int64_t>(), nullptr);
  EXPECT_NE(ParseJson("0").As<std::uint64_t>(), nullptr);
}

}  // namespace
}  // namespace vorn::lab

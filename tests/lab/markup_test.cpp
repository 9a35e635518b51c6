#include "lab/markup.h"

#include <gtest/gtest.h>

namespace vorn::lab {
namespace {

TEST(Markup, LeavesNoTextThatWouldBeMarkup) {
  EXPECT_EQ(Escaped("<a href=\"x\">&amp;</a>"), "&lt;a href=&quot;x&quot;&gt;&amp;amp;&lt;/a&gt;");
}

TEST(Markup, ReplacesWhatXmlCannotHold) {
  EXPECT_EQ(Escaped(std::string("a\0b\x1B\x63", 5)), "a\uFFFDb\uFFFDc");
}

TEST(Markup, KeepsOtherCharacters) {
  EXPECT_EQ(Escaped("p\u00E4th \U0001F50A\n\t'"), "p\u00E4th \U0001F50A\n\t'");
}

TEST(TimeText, IsAsPeopleWriteIt) {
  const std::pair<unsigned long long, const char*> cases[] = {{0, "0 s"},
                                                              {1, "1 ms"},
                                                              {999, "999 ms"},
                                                              {1000, "1 s"},
                                                              {2500, "2.5 s"},
                                                              {90'000, "90 s"},
                                                              {119'960, "120 s"},
                                                              {120'000, "2 min"},
                                                              {150'000, "150 s"},
                                                              {600'000, "10 min"},
                                                              {3'570'000, "1 h"},
                                                              {3'600'000, "1 h"},
                                                              {5'400'000, "1 h 30 min"}};
  for (const auto& [milliseconds, text] : cases)
    EXPECT_EQ(TimeText(milliseconds), text);
}

TEST(CountText, SeparatesThousands) {
  EXPECT_EQ(CountText(0), "0");
  EXPECT_EQ(CountText(999), "999");
  EXPECT_EQ(CountText(1000), "1,000");
  EXPECT_EQ(CountText(1'234'567), "1,234,567");
}

}  // namespace
}  // namespace vorn::lab

#include "control/exact_driver_version.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace vorn {
namespace {

TEST(ExactDriverVersion, PacksThreePartsAndKeepsTheFourth) {
  struct Row {
    std::u16string text;
    ExactDriverVersion version;
  };
  const std::vector<Row> rows = {
      {u"26.8.10.5", {0x1A080A, 5}},
      {u"0.0.0.0", {0, 0}},
      {u"255.255.255.4294967295", {0xFFFFFF, 0xFFFFFFFF}},
      {u"1.2.3.4294967295", {0x010203, 0xFFFFFFFF}},
      {u"026.08.010.0005", {0x1A080A, 5}},
      {u"0000000000000000000001.2.3.00000000000000000004", {0x010203, 4}},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(ParseExactDriverVersion(row.text), row.version) << testing::PrintToString(row.text);
  }
}

TEST(ExactDriverVersion, HasFourNumbersInRangeAndNothingElse) {
  const std::vector<std::u16string> texts = {u"",
                                             u"1",
                                             u"1.2.3",
                                             u"1.2.3.4.5",
                                             u"1..3.4",
                                             u".2.3.4",
                                             u"1.2.3.",
                                             u"1.2..4",
                                             u"...",
                                             u"....",
                                             u"256.0.0.1",
                                             u"0.256.0.1",
                                             u"0.0.256.1",
                                             u"1.2.3.4 ",
                                             u" 1.2.3.4",
                                             u"1.2.3. 4",
                                             u"1.2.3.+4",
                                             u"-1.2.3.4",
                                             u"1.2.3.4a",
                                             u"1.2.3.0x4",
                                             u"1,2,3,4",
                                             u"1.2.3.4.",
                                             u"\uff11.2.3.4",
                                             u"1.2.3.4294967296",
                                             u"4294967297.2.3.4",
                                             u"1.2.3.18446744073709551617"};
  for (const std::u16string& text : texts) {
    EXPECT_FALSE(ParseExactDriverVersion(text)) << testing::PrintToString(text);
  }
  EXPECT_FALSE(ParseExactDriverVersion(std::u16string_view(u"1.2.3.4\0", 8)));
}

}  // namespace
}  // namespace vorn

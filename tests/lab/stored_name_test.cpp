#include "lab/stored_name.h"

#include "base/text.h"

#include <gtest/gtest.h>

namespace vorn::lab {
namespace {

struct Case {
  std::u16string name;
  std::string stored;
};

TEST(StoredName, KeepsWhatLinuxAllowsAndEscapesTheRest) {
  const Case cases[] = {
      {u"vorn_audio.inf", "vorn_audio.inf"},
      {u".hidden", ".hidden"},
      {u"with blank ", "with blank "},
      {u"a:b*c?", "a:b*c?"},
      {u"back\\slash", "back\\slash"},
      {u"P\u00e4ket \u97f3\u58f0 \U0001F50A", "P\u00e4ket \u97f3\u58f0 \U0001F50A"},
      {u"100%.txt", "100%.txt"},
      {u"%zz", "%zz"},
      {u"%0041", "%00250041"},
      {u"50%abcd", "50%0025abcd"},
      {u".", "%002E"},
      {u"..", "%002E."},
      {u"...", "..."},
      {u"a/b", "a%002Fb"},
      {std::u16string(u"a\0b", 3), "a%0000b"},
      {std::u16string{u'x', char16_t{0xD800}}, "x%D800"},
      {std::u16string{char16_t{0xDC00}, char16_t{0xD800}}, "%DC00%D800"},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(row.stored);
    EXPECT_EQ(ToStoredName(row.name), row.stored);
    std::u16string back;
    EXPECT_TRUE(FromStoredName(row.stored, back));
    EXPECT_EQ(back, row.name);
  }
}

TEST(StoredName, RefusesBytesThatAreNotUtf8) {
  std::u16string name;
  EXPECT_FALSE(FromStoredName("caf\xE9", name));
  EXPECT_FALSE(FromStoredName("\xED\xA0\x80", name));
}

}  // namespace
}  // namespace vorn::lab

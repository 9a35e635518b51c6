#include "platform/simulated/upper_case.h"

#include "tests/simulated/file_world.h"

namespace vorn::platform::simulated {
namespace {

TEST(Capitals, AreThoseOfPairsThatMapBothWays) {
  EXPECT_EQ(ToUpperName(u"a z 0 \u00e4 \u00ff \u03c3 \u0436 \u1f80 \uff41"),
            u"A Z 0 \u00c4 \u0178 \u03a3 \u0416 \u1f88 \uff21");
}

TEST(Capitals, LeaveLettersWhoseCapitalMapsElsewhere) {
  // The micro sign, the dotless i, the long s, the sharp s, a digraph in title case, the final
  // sigma, a surrogate.
  const std::u16string letters = {0x00B5, 0x0131, 0x017F, 0x00DF, 0x01C5, 0x03C2, 0xD835};
  EXPECT_EQ(ToUpperName(letters), letters);
}

TEST(Capitals, AreCapitalsThemselves) {
  int small = 0;
  for (std::uint32_t unit = 0; unit <= 0xFFFF; ++unit) {
    const char16_t capital = Capitals()[unit];
    EXPECT_EQ(Capitals()[capital], capital) << unit;
    small += capital != unit ? 1 : 0;
  }
  EXPECT_EQ(small, 1163);
}

class FoldedNames : public FileWorld {};

TEST_F(FoldedNames, NameOneFile) {
  PutFile(Files(), u"C:\\a\\P\u00e4ket", std::string_view("x"));
  EXPECT_EQ(StatusOf(u"C:\\A\\P\u00c4KET"), STATUS_SUCCESS);
  EXPECT_EQ(StatusOf(u"C:\\a\\P\u00c4KET", New()), STATUS_OBJECT_NAME_COLLISION);
}

TEST_F(FoldedNames, NameOneDevice) {
  AddRoot(TheMachine(), u"ROOT\\\u00c4\\0000");
  EXPECT_NE(TheMachine().devices.Find(u"root\\\u00e4\\0000"), nullptr);
}

TEST_F(FoldedNames, NameOneDeviceHoweverShortItsId) {
  AddRoot(TheMachine(), u"R\\a\\\u00c4");
  EXPECT_NE(TheMachine().devices.Find(u"r\\A\\\u00e4"), nullptr);
}

TEST_F(FoldedNames, NameOneKey) {
  const KeyId key = MakeKey(TheMachine().registry, u"SOFTWARE\\\u00c4");
  EXPECT_EQ(FindKey(TheMachine().registry, u"software\\\u00e4"), key);
}

TEST_F(FoldedNames, NameAKeyBelowAnother) {
  Registry& registry = TheMachine().registry;
  const KeyId above = MakeKey(registry, u"SOFTWARE\\Above");
  const KeyId key = MakeKey(registry, above, u"\u00c4\\b");
  EXPECT_EQ(FindKey(registry, above, u"\u00e4\\B"), key);
  EXPECT_EQ(FindKey(registry, u"SOFTWARE\\Above\\\u00c4\\b"), key);
}

}  // namespace
}  // namespace vorn::platform::simulated

#include "catalog/endpoint_recognition.h"

#include "base/text.h"
#include "product/product.h"

#include <gtest/gtest.h>

namespace vorn {
namespace {

platform::PROPVARIANT Unsigned(std::uint32_t number) {
  platform::PROPVARIANT value = {};
  value.vt = platform::VT_UI4;
  value.ulVal = number;
  return value;
}

platform::PROPVARIANT Signed(std::int32_t number) {
  platform::PROPVARIANT value = {};
  value.vt = platform::VT_I4;
  value.lVal = number;
  return value;
}

TEST(CableIndex, IsAnyUnsignedNumber) {
  EXPECT_EQ(CableIndexOf(Unsigned(0)), 0u);
  EXPECT_EQ(CableIndexOf(Unsigned(12)), 12u);
  EXPECT_EQ(CableIndexOf(Unsigned(0xFFFFFFFF)), 0xFFFFFFFFu);
}

TEST(CableIndex, IsASignedNumberThatIsNotNegative) {
  EXPECT_EQ(CableIndexOf(Signed(0)), 0u);
  EXPECT_EQ(CableIndexOf(Signed(9)), 9u);
  EXPECT_EQ(CableIndexOf(Signed(0x7FFFFFFF)), 0x7FFFFFFFu);
  EXPECT_EQ(CableIndexOf(Signed(-1)), std::nullopt);
  EXPECT_EQ(CableIndexOf(Signed(-2147483647 - 1)), std::nullopt);
}

TEST(CableIndex, IsNoValueOfAnotherType) {
  for (std::uint16_t type = 0; type < 80; ++type) {
    if (type == platform::VT_UI4 || type == platform::VT_I4) continue;
    platform::PROPVARIANT value = Unsigned(3);
    value.vt = type;
    EXPECT_EQ(CableIndexOf(value), std::nullopt) << type;
  }
}

TEST(CableIndex, IsReadUnderTheDriversOwnKey) {
  const platform::PROPERTYKEY key = {
      {0x4B7A2E8F, 0x3C5D, 0x4E91, {0x8A, 0x67, 0x2F, 0x9B, 0x1E, 0x3D, 0x5C, 0x7A}}, 2};
  EXPECT_EQ(kCableIndexKey, key);
}

struct Connection {
  std::u16string_view connected;
  std::u16string_view root;
  bool belongs;
};

class ConnectedDevice : public testing::TestWithParam<Connection> {};

TEST(ConnectedDeviceId, GoesOnBehindTheRootWithASeparatorOnly) {
  for (char16_t unit = 1; unit < 0x100; ++unit) {
    const bool separator = unit == u'#' || unit == u'\\' || unit == u'/';
    EXPECT_EQ(IsConnectedToRoot(u"{2}.\\\\?\\root#media#0000" + std::u16string(1, unit) + u"{6994}",
                                u"ROOT\\MEDIA\\0000"),
              separator)
        << int{unit};
  }
}

TEST_P(ConnectedDevice, BelongsToTheRootItNames) {
  const Connection& row = GetParam();
  EXPECT_EQ(IsConnectedToRoot(row.connected, row.root), row.belongs)
      << ToUtf8(row.connected) << " / " << ToUtf8(row.root);
}

INSTANTIATE_TEST_SUITE_P(
    Table, ConnectedDevice,
    testing::Values(
        Connection{u"{2}.\\\\?\\root#media#0000#{6994ad04}\\wave0", u"ROOT\\MEDIA\\0000", true},
        Connection{u"{2}.\\\\?\\ROOT#Media#0000#{6994AD04}\\Wave0", u"root\\media\\0000", true},
        Connection{u"root#media#0000", u"ROOT\\MEDIA\\0000", true},
        Connection{u"x\\root#media#0000", u"ROOT\\MEDIA\\0000", true},
        Connection{u"root#media#0000\\wave", u"ROOT\\MEDIA\\0000", true},
        Connection{u"root#media#0000/wave", u"ROOT\\MEDIA\\0000", true},
        Connection{u"root#media#0000#{g}", u"ROOT/MEDIA/0000", true},
        Connection{u"root#media#00001", u"ROOT\\MEDIA\\0000", false},
        Connection{u"root#media#00001#{g}", u"ROOT\\MEDIA\\0000", false},
        Connection{u"root#media#0000.", u"ROOT\\MEDIA\\0000", false},
        Connection{u"root#media#0000{g}", u"ROOT\\MEDIA\\0000", false},
        Connection{u"root#media#0001#{g}", u"ROOT\\MEDIA\\0000", false},
        // A later occurrence counts although an earlier one does not.
        Connection{u"root#media#00001#root#media#0000#", u"ROOT\\MEDIA\\0000", true},
        Connection{u"root#media#0000#root#media#00001", u"ROOT\\MEDIA\\0000", true},
        // So does one that overlaps the earlier one.
        Connection{u"a#aa#aa#", u"a#a", false}, Connection{u"aaa#", u"aa", true},
        // Separators of the connected id are not folded into '#'.
        Connection{u"root\\media\\0000\\wave", u"ROOT\\MEDIA\\0000", false},
        Connection{u"", u"ROOT\\MEDIA\\0000", false},
        Connection{u"root#media#000", u"ROOT\\MEDIA\\0000", false},
        // An empty id names no device.
        Connection{u"{2}.\\\\?\\root#media#0000#", u"", false}, Connection{u"", u"", false}));

}  // namespace
}  // namespace vorn

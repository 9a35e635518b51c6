#include "package/inf_fields.h"

#include "package_world.h"

namespace vorn {
namespace {

using namespace platform::simulated;

/// The product's INF, open, with its DriverVer line: a date and a version.
class InfFields : public ::testing::Test {
 protected:
  InfFields() {
    EXPECT_TRUE(inf);
    EXPECT_TRUE(platform::SetupFindFirstLineW(inf.Get(), u"Version", u"DriverVer", &line));
  }

  Machine machine = tests::MachineWithInf();
  Process process{machine};
  InfHandle inf = OpenInf(tests::kInfPath);
  platform::INFCONTEXT line = {};
  std::u16string text = u"left over";
};

TEST_F(InfFields, AreReadUpToTheirEnd) {
  std::uint32_t required = 0;
  EXPECT_TRUE(ReadFieldInto(64, line, 1, text, &required));
  EXPECT_EQ(text, u"08/10/2026");
  EXPECT_EQ(required, 11U);
}

TEST_F(InfFields, MayJustFit) {
  EXPECT_TRUE(ReadFieldInto(11, line, 1, text));
  EXPECT_EQ(text, u"08/10/2026");
}

TEST_F(InfFields, AreEmptyWhenTheyDoNotFitOrAreMissing) {
  EXPECT_FALSE(ReadFieldInto(10, line, 1, text));
  EXPECT_EQ(text, u"");
  text = u"left over";
  EXPECT_FALSE(ReadFieldInto(64, line, 3, text));
  EXPECT_EQ(text, u"");
}

TEST_F(InfFields, OfAKeyAreReadIfTheyAreAtMostSoLong) {
  EXPECT_TRUE(ReadKeyedField(inf.Get(), u"Version", u"DriverVer", 1, 10, text));
  EXPECT_EQ(text, u"08/10/2026");
  EXPECT_FALSE(ReadKeyedField(inf.Get(), u"Version", u"DriverVer", 1, 9, text));
  EXPECT_EQ(text, u"");
  text = u"left over";
  EXPECT_FALSE(ReadKeyedField(inf.Get(), u"Version", u"NoSuchKey", 1, 10, text));
  EXPECT_EQ(text, u"");
}

TEST_F(InfFields, OfAKeyAreNotReadWhenTheirSizeIsNoneThatMayBe) {
  process.logCalls = true;
  EXPECT_FALSE(ReadKeyedField(inf.Get(), u"Version", u"DriverVer", 1, 9, text));
  EXPECT_EQ(tests::CallsOf(process, "SetupGetStringFieldW").size(), 1U);
}

}  // namespace
}  // namespace vorn

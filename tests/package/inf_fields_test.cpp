#include "package/inf_fields.h"

#include "package_world.h"
#include "tests/support/sample.h"

#include <optional>

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
  platform::InfHandle inf = OpenInf(tests::kSampleInf);
  platform::INFCONTEXT line = {};
};

TEST_F(InfFields, AreReadUpToTheirEnd) {
  const std::optional<InfField> date = ReadField(line, 1, 64);
  ASSERT_TRUE(date);
  EXPECT_EQ(date->text, u"08/10/2026");
  EXPECT_EQ(date->required, 11U);
}

TEST_F(InfFields, MayJustFit) {
  const std::optional<InfField> date = ReadField(line, 1, 11);
  ASSERT_TRUE(date);
  EXPECT_EQ(date->text, u"08/10/2026");
}

TEST_F(InfFields, AreNothingWhenTheyDoNotFitOrAreMissing) {
  EXPECT_FALSE(ReadField(line, 1, 10));
  EXPECT_FALSE(ReadField(line, 3, 64));
}

TEST_F(InfFields, OfAKeyAreReadUpToTheirLongestLength) {
  EXPECT_EQ(ReadKeyedField(inf.Get(), u"Version", u"DriverVer", 1, 10), u"08/10/2026");
  EXPECT_FALSE(ReadKeyedField(inf.Get(), u"Version", u"DriverVer", 1, 9));
  EXPECT_FALSE(ReadKeyedField(inf.Get(), u"Version", u"NoSuchKey", 1, 10));
}

TEST_F(InfFields, OfAKeyAreNotReadWhenTheyAreLongerThanAllowed) {
  process.logCalls = true;
  EXPECT_FALSE(ReadKeyedField(inf.Get(), u"Version", u"DriverVer", 1, 9));
  EXPECT_EQ(tests::CallsOf(process, "SetupGetStringFieldW").size(), 1U);
}

TEST_F(InfFields, OfAKeyAreNotReadWhenTheirSizeHasRoomForATerminatorOnly) {
  process.logCalls = true;
  Fault empty;
  empty.call = "SetupGetStringFieldW";
  empty.kind = FaultKind::Short;
  process.faults = {empty};
  EXPECT_FALSE(ReadKeyedField(inf.Get(), u"Version", u"DriverVer", 1, 10));
  EXPECT_EQ(tests::CallsOf(process, "SetupGetStringFieldW").size(), 1U);
}

TEST_F(InfFields, OfAKeyMayHaveOneUnit) {
  Fault cut;
  cut.call = "SetupGetStringFieldW";
  cut.last = 2;
  cut.kind = FaultKind::Short;
  cut.amount = sizeof(char16_t);
  process.faults = {cut};
  EXPECT_EQ(ReadKeyedField(inf.Get(), u"Version", u"DriverVer", 1, 10), u"0");
}

TEST_F(InfFields, AreNotBelievedWhenTheirReadFails) {
  process.faults = {tests::FailingCall("SetupGetStringFieldW", 5)};
  process.faults[0].kind = FaultKind::FailAfterEffect;
  EXPECT_FALSE(ReadField(line, 1, 64));
}

TEST_F(InfFields, OfAKeyAreNotBelievedWhenAnyCallFails) {
  struct {
    const char* call;
    std::uint32_t nth;
  } const rows[] = {
      {"SetupFindFirstLineW", 1}, {"SetupGetStringFieldW", 1}, {"SetupGetStringFieldW", 2}};
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.call) + " " + std::to_string(row.nth));
    process.callCounts.clear();
    process.faults = {tests::FailingCall(row.call, 5, row.nth)};
    process.faults[0].kind = FaultKind::FailAfterEffect;
    EXPECT_FALSE(ReadKeyedField(inf.Get(), u"Version", u"DriverVer", 1, 10));
  }
}

}  // namespace
}  // namespace vorn

#include "package/original_names.h"

#include "package_world.h"

namespace vorn {
namespace {

using namespace platform::simulated;

TEST(FileNameComponent, IsWhatFollowsTheLastSeparator) {
  EXPECT_EQ(FileNameComponent(u"C:\\a/b\\vorn~1.inf"), u"vorn~1.inf");
  EXPECT_EQ(FileNameComponent(u"C:\\a\\b/x.inf"), u"x.inf");
  EXPECT_EQ(FileNameComponent(u"x.inf"), u"x.inf");
  EXPECT_EQ(FileNameComponent(u"C:\\"), u"");
}

TEST(OriginalNames, AreThoseOfThePublishedPackage) {
  Machine machine = tests::BareMachine();
  tests::Publish(machine, u"oem3.inf", tests::SoundInf(), u"before.inf", u"before.cat");
  Process process(machine);
  std::u16string inf;
  std::u16string catalog;
  EXPECT_TRUE(QueryOriginalNames(u"C:\\Windows\\INF\\oem3.inf", inf, catalog));
  EXPECT_EQ(inf, u"before.inf");
  EXPECT_EQ(catalog, u"before.cat");
}

TEST(OriginalNames, AreNotKnownWhenEitherCallFails) {
  for (const char* call : {"SetupGetInfInformationW", "SetupQueryInfOriginalFileInformationW"}) {
    Machine machine = tests::BareMachine();
    tests::Publish(machine, u"oem3.inf", tests::SoundInf());
    Process process(machine);
    process.logCalls = true;
    Fault fault;
    fault.call = call;
    fault.last = kEveryLaterCall;
    process.faults = {fault};
    std::u16string inf;
    std::u16string catalog;
    EXPECT_FALSE(QueryOriginalNames(u"C:\\Windows\\INF\\oem3.inf", inf, catalog)) << call;
    EXPECT_EQ(process.calls.back().name, call) << "nothing is asked with an answer missing";
  }
}

TEST(OriginalNames, AreNotAskedForWithoutARecordThatCanHoldThem) {
  Machine machine = tests::BareMachine();
  tests::Publish(machine, u"oem3.inf", tests::SoundInf());
  Process process(machine);
  process.logCalls = true;
  Fault fault;
  fault.call = "SetupGetInfInformationW";
  fault.kind = FaultKind::SucceedWithoutEffect;
  process.faults = {fault};
  std::u16string inf;
  std::u16string catalog;
  EXPECT_FALSE(QueryOriginalNames(u"C:\\Windows\\INF\\oem3.inf", inf, catalog));
  EXPECT_TRUE(tests::CallsOf(process, "SetupQueryInfOriginalFileInformationW").empty());
}

}  // namespace
}  // namespace vorn

#include "package/original_names.h"

#include "package_world.h"

#include <optional>

namespace vorn {
namespace {

using namespace platform::simulated;

TEST(OriginalNames, AreThoseOfThePublishedPackage) {
  Machine machine = tests::BareMachine();
  tests::Publish(machine, u"oem3.inf", tests::SoundInf(), u"before.inf", u"before.cat");
  Process process(machine);
  const std::optional<OriginalNames> names = QueryOriginalNames(u"C:\\Windows\\INF\\oem3.inf");
  ASSERT_TRUE(names);
  EXPECT_EQ(names->inf, u"before.inf");
  EXPECT_EQ(names->catalog, u"before.cat");
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
    EXPECT_FALSE(QueryOriginalNames(u"C:\\Windows\\INF\\oem3.inf")) << call;
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
  EXPECT_FALSE(QueryOriginalNames(u"C:\\Windows\\INF\\oem3.inf"));
  EXPECT_TRUE(tests::CallsOf(process, "SetupQueryInfOriginalFileInformationW").empty());
}

}  // namespace
}  // namespace vorn

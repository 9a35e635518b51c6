#include "package/original_names.h"

#include "package_world.h"
#include "platform/simulated/error_values.h"

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

TEST(OriginalNames, AreNotBelievedWhenTheCallThatGivesThemFails) {
  struct {
    const char* call;
    std::uint32_t nth;
  } const rows[] = {{"SetupGetInfInformationW", 1},
                    {"SetupGetInfInformationW", 2},
                    {"SetupQueryInfOriginalFileInformationW", 1}};
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.call) + " " + std::to_string(row.nth));
    Machine machine = tests::BareMachine();
    tests::Publish(machine, u"oem3.inf", tests::SoundInf());
    Process process(machine);
    process.faults = {tests::FailingCall(row.call, 5, row.nth)};
    process.faults[0].kind = FaultKind::FailAfterEffect;
    EXPECT_FALSE(QueryOriginalNames(u"C:\\Windows\\INF\\oem3.inf"));
  }
}

TEST(OriginalNames, AreGivenUpAtAnyErrorButATooSmallBuffer) {
  for (const std::uint32_t error : {platform::ERROR_FILE_NOT_FOUND, platform::ERROR_PATH_NOT_FOUND,
                                    platform::ERROR_ACCESS_DENIED, platform::ERROR_NO_MORE_ITEMS,
                                    platform::ERROR_NOT_FOUND, platform::ERROR_MORE_DATA}) {
    SCOPED_TRACE(error);
    Machine machine = tests::BareMachine();
    tests::Publish(machine, u"oem3.inf", tests::SoundInf());
    Process process(machine);
    process.logCalls = true;
    process.faults = {tests::FailingAfterEffect("SetupGetInfInformationW", error)};
    EXPECT_FALSE(QueryOriginalNames(u"C:\\Windows\\INF\\oem3.inf"));
    EXPECT_EQ(tests::CallsOf(process, "SetupGetInfInformationW").size(), 1U);
  }
}

TEST(OriginalNames, AreAskedForInARecordOf12BytesOrMore) {
  struct {
    std::uint64_t bytes;
    std::size_t reads;
  } const rows[] = {{0, 1}, {11, 1}, {12, 2}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.bytes);
    Machine machine = tests::BareMachine();
    tests::Publish(machine, u"oem3.inf", tests::SoundInf());
    Process process(machine);
    process.logCalls = true;
    Fault cut;
    cut.call = "SetupGetInfInformationW";
    cut.last = kEveryLaterCall;
    cut.kind = FaultKind::Short;
    cut.amount = row.bytes;
    process.faults = {cut};
    QueryOriginalNames(u"C:\\Windows\\INF\\oem3.inf");
    EXPECT_EQ(tests::CallsOf(process, "SetupGetInfInformationW").size(), row.reads);
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

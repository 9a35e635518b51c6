#include "report/console.h"

#include "base/text.h"
#include "platform/last_error.h"
#include "platform/simulated/process.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <limits>

namespace vorn {
namespace {

using platform::simulated::Fault;
using platform::simulated::Machine;
using platform::simulated::Process;

TEST(Console, ReportsAFailedCallWithItsErrorInEightDigits) {
  struct Case {
    std::uint32_t error;
    const char16_t* line;
  };
  const Case cases[] = {
      {5, u"vorn_devnode: SetupDiCreateDeviceInfo failed (error 0x00000005)\n"},
      {0, u"vorn_devnode: SetupDiCreateDeviceInfo failed (error 0x00000000)\n"},
      {0xFFFFFFFF, u"vorn_devnode: SetupDiCreateDeviceInfo failed (error 0xFFFFFFFF)\n"},
      {0xE000020B, u"vorn_devnode: SetupDiCreateDeviceInfo failed (error 0xE000020B)\n"},
  };
  for (const Case& row : cases) {
    Machine machine;
    Process process(machine);
    platform::SetLastError(row.error);
    ReportFailedCall(u"SetupDiCreateDeviceInfo");
    EXPECT_EQ(ToUtf8(process.ErrorOutput()), ToUtf8(row.line));
    EXPECT_EQ(process.Output(), u"");
    EXPECT_EQ(platform::GetLastError(), row.error);
  }
}

TEST(Console, SendsOutputAndErrorsToTheirStreams) {
  Machine machine;
  Process process(machine);
  Print(u"vorn_devnode: %ls\n", u"done");
  PrintError(u"vorn_devnode: %zu left\n", std::size_t{3});
  EXPECT_EQ(process.Output(), u"vorn_devnode: done\n");
  EXPECT_EQ(process.ErrorOutput(), u"vorn_devnode: 3 left\n");
}

TEST(Console, PrintsNegativeNumbersWithTheirSign) {
  Machine machine;
  Process process(machine);
  Print(u"%d %d\n", std::int32_t{-1}, std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(process.Output(), u"-1 -2147483648\n");
}

TEST(Console, WritesEachLineWithOneCallAndFlushesIt) {
  Machine machine;
  Process process(machine);
  process.logCalls = true;
  Print(u"vorn_devnode: %ls and %ls\n", u"one", u"two");
  PrintError(u"vorn_devnode: three\n");
  std::vector<std::string> calls;
  for (const auto& call : process.calls)
    calls.push_back(call.name + " " + call.Argument("stream"));
  EXPECT_EQ(calls, (std::vector<std::string>{"fputws stdout", "fflush stdout", "fputws stderr",
                                             "fflush stderr"}));
}

TEST(Console, IsReadLineByLineWhileTheProgramGoesOn) {
  Machine machine;
  Process process(machine);
  ASSERT_TRUE(process.redirected);
  Print(u"one\n");
  EXPECT_EQ(process.Output(), u"one\n");
  PrintError(u"two\n");
  Print(u"three\n");
  ASSERT_EQ(process.console.size(), 3U);
  EXPECT_TRUE(process.console[1].error) << "one file for both has the lines in their order";
  process.Kill();
  EXPECT_EQ(process.Output(), u"one\nthree\n") << "a killed run keeps what it said";
}

TEST(Console, KeepsEveryCharacterOfAPath) {
  Machine machine;
  Process process(machine);
  Print(u"%ls\n", u"C:\\P\u00e4ket\\\u97f3\u58f0\\\U0001F50A.inf");
  EXPECT_EQ(process.Output(), u"C:\\P\u00e4ket\\\u97f3\u58f0\\\U0001F50A.inf\n");
}

TEST(Console, LeavesTheLastErrorAloneWhenAWriteFails) {
  for (const char* call : {"fputws", "fflush"}) {
    SCOPED_TRACE(call);
    Machine machine;
    Process process(machine);
    Fault fault;
    fault.call = call;
    process.faults = {fault};
    platform::SetLastError(1234);
    Print(u"lost\n");
    EXPECT_EQ(platform::GetLastError(), 1234U);
    EXPECT_EQ(process.callCount, 2U);
  }
}

}  // namespace
}  // namespace vorn

// Lifecycles of the device that end with its removal: what the program prints, and what is on the
// machine before and after.

#include "base/text.h"
#include "platform/registry.h"
#include "platform/simulated/audio_values.h"
#include "platform/simulated/endpoint_builder.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/neighbours.h"
#include "tests/support/machine_view.h"
#include "tests/support/run_command.h"
#include "tests/support/sample.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace vorn {
namespace {

using namespace platform::simulated;
using tests::kRootId;
using tests::kSampleInf;
using tests::kSampleJournal;
using tests::RunCommand;
using tests::RunResult;
using tests::TracesOf;

constexpr std::uint64_t kUntilSettledMs = 60'000;

RunResult Perform(Machine& machine, std::u16string command) {
  RunResult result = RunCommand(machine, {std::move(command), kSampleInf});
  EXPECT_TRUE(result.openObjects.empty());
  Advance(machine, kUntilSettledMs);
  return result;
}

std::string LastLine(const RunResult& result) {
  return result.console.empty() ? "" : ToUtf8(result.console.back().text);
}

TEST(RemovalLifecycle, LeavesNothingOfAnInstalledDevice) {
  const Machine before = CleanMachine();
  Machine machine = before;
  ASSERT_TRUE(TracesOf(before).empty());

  ASSERT_EQ(Perform(machine, u"install").status, 0);
  EXPECT_GT(TracesOf(machine).size(), 40U) << "a device, a package, 20 endpoints and records";

  const RunResult removal = Perform(machine, u"remove");
  EXPECT_EQ(removal.status, 0);
  EXPECT_EQ(LastLine(removal),
            "vorn_devnode: RESULT=OK - removed 1 Root\\VornAudio device(s), 1 exact driver "
            "package(s) and 20 VORN endpoint record(s) (0 retained); zero installed roots and "
            "exact packages verified\n");
  EXPECT_EQ(TracesOf(machine), std::vector<std::string>{});
  EXPECT_EQ(DescribeForeignParts(machine), DescribeForeignParts(before));
  EXPECT_EQ(machine.devices.devices.size(), before.devices.devices.size());
  EXPECT_EQ(machine.store.packages, before.store.packages);
  EXPECT_EQ(ListFolder(machine.files, u"C:\\Windows\\INF"),
            ListFolder(before.files, u"C:\\Windows\\INF"));
}

TEST(RemovalLifecycle, CanBeRepeated) {
  Machine machine = CleanMachine();
  for (int round = 1; round <= 3; ++round) {
    SCOPED_TRACE(round);
    ASSERT_EQ(Perform(machine, u"install").status, 0);
    EXPECT_EQ(Perform(machine, u"audit-current").status, 0);
    ASSERT_EQ(Perform(machine, u"remove").status, 0);
    EXPECT_EQ(TracesOf(machine), std::vector<std::string>{});
    RemovePath(machine.files, kSampleJournal);
  }
}

TEST(RemovalLifecycle, LeavesTheJournalInPlace) {
  Machine machine = CleanMachine();
  ASSERT_EQ(Perform(machine, u"install").status, 0);
  const auto journal = ReadWholeFile(machine.files, kSampleJournal);
  ASSERT_TRUE(journal);
  ASSERT_EQ(Perform(machine, u"remove").status, 0);
  EXPECT_EQ(ReadWholeFile(machine.files, kSampleJournal), journal);
  // It describes a device that no longer exists, so it blocks the next bind.
  EXPECT_EQ(Perform(machine, u"install").status, 9);
  EXPECT_EQ(TracesOf(machine), std::vector<std::string>{});
}

TEST(RemovalLifecycle, OfAnUpdatedDeviceLeavesTheEarlierPackage) {
  Machine machine = OutdatedMachine();
  ASSERT_EQ(Perform(machine, u"install").status, 0);
  const RunResult removal = Perform(machine, u"remove");
  EXPECT_EQ(removal.status, 0);
  EXPECT_NE(LastLine(removal).find("1 exact driver package(s)"), std::string::npos);
  // The earlier package has different bytes, so only the INF that it came from can identify it.
  EXPECT_EQ(TracesOf(machine), std::vector<std::string>{"package oem3.inf"});
}

TEST(RemovalLifecycle, ClearsAMachineWithTwoPresentRoots) {
  const Machine before = DuplicatesMachine();
  Machine machine = before;
  const RunResult removal = Perform(machine, u"remove");
  EXPECT_EQ(removal.status, 0);
  EXPECT_EQ(LastLine(removal),
            "vorn_devnode: RESULT=OK - removed 3 Root\\VornAudio device(s), 1 exact driver "
            "package(s) and 20 VORN endpoint record(s) (0 retained); zero installed roots and "
            "exact packages verified\n");
  EXPECT_EQ(TracesOf(machine), std::vector<std::string>{});
  EXPECT_EQ(DescribeForeignParts(machine), DescribeForeignParts(before));
  EXPECT_EQ(Perform(machine, u"install").status, 0) << "the machine can have the device again";
}

TEST(RemovalLifecycle, OfNothingReportsZeroAndChangesNothing) {
  const Machine before = CleanMachine();
  Machine machine = before;
  for (int round = 0; round < 2; ++round) {
    const RunResult removal = Perform(machine, u"remove");
    EXPECT_EQ(removal.status, 0);
    EXPECT_EQ(removal.errorOutput, u"");
    EXPECT_EQ(ToUtf8(removal.output),
              "vorn_devnode: RESULT=OK - removed 0 Root\\VornAudio device(s), 0 exact driver "
              "package(s) and 0 VORN endpoint record(s) (0 retained); zero installed roots and "
              "exact packages verified\n");
    EXPECT_EQ(machine.devices, before.devices);
    EXPECT_EQ(machine.registry, before.registry);
    EXPECT_EQ(machine.store, before.store);
  }
}

TEST(RemovalLifecycle, SucceedsOnceAHeldDeviceIsReleased) {
  Machine machine = CleanMachine();
  ASSERT_EQ(Perform(machine, u"install").status, 0);
  const std::vector<std::string> installed = TracesOf(machine);
  machine.devices.Find(kRootId)->temper.vetoUntil = machine.clock.tick + 30'000;
  EXPECT_EQ(Perform(machine, u"remove").status, 17);
  EXPECT_EQ(TracesOf(machine), installed) << "endpoints are shown again, nothing is removed";
  EXPECT_EQ(Perform(machine, u"remove").status, 0);
  EXPECT_EQ(TracesOf(machine), std::vector<std::string>{});
}

TEST(RemovalLifecycle, CompletesAfterTheRestartThatItNeeded) {
  Machine machine = CleanMachine();
  ASSERT_EQ(Perform(machine, u"install").status, 0);
  DeviceTemper& temper = machine.devices.Find(kRootId)->temper;
  temper.removeNeedsRestart = true;
  temper.removeKeepsNodeUntilRestart = true;
  EXPECT_EQ(Perform(machine, u"remove").status, 10);
  Reboot(machine);
  Advance(machine, kUntilSettledMs);
  EXPECT_EQ(Perform(machine, u"remove").status, 0);
  EXPECT_EQ(TracesOf(machine), std::vector<std::string>{});
}

}  // namespace
}  // namespace vorn

// What the program cannot detect. Each limit follows from a deliberate rule: what cannot be read is
// not ours. The checkers excuse exactly these cases; an excuse is dropped when its limit no longer
// shows here.

#include "tests/faults/planned_fault.h"
#include "tests/faults/scenarios.h"
#include "tests/support/machine_view.h"
#include "tests/support/sample.h"

#include <gtest/gtest.h>

namespace vorn::tests {

namespace model = platform::simulated;
using model::Machine;

namespace {

RunResult RunWith(Machine& machine, Command command, const std::string& fault) {
  RunOptions options;
  options.logCalls = false;
  options.faults = {ToFault(ParsePlannedFault(fault), machine)};
  return RunCommand(machine, LineOf(command).arguments, options);
}

}  // namespace

TEST(KnownLimits, ARootWhoseHardwareIdsCannotBeReadIsNotSeenByARemoval) {
  // Its package differs from the one being removed. If it were the same, the root itself would
  // prevent the uninstallation.
  Machine machine = model::OutdatedMachine();
  const std::string unread = "SetupDiGetDeviceRegistryPropertyW#1+:fail=0xE000020B";
  EXPECT_EQ(RunWith(machine, Command::Remove, unread).status, 0);
  EXPECT_EQ(InstalledRoots(machine).size(), 1U);
}

TEST(KnownLimits, ARootThatIsStillBeingRemovedCountsAsGoneAfterOneFailedRead) {
  int early = 0;
  for (std::uint32_t nth = 1; nth <= 12; ++nth) {
    Machine machine = FindScenario("remove@slow").start->machine;
    const std::string fault =
        "SetupDiGetDeviceRegistryPropertyW#" + std::to_string(nth) + ":fail=0xE000020B";
    if (RunWith(machine, Command::Remove, fault).status != 0) continue;
    if (InstalledRoots(machine).empty()) continue;
    ++early;
    model::Advance(machine, 10'000);
    EXPECT_TRUE(InstalledRoots(machine).empty()) << nth;  // it disappears all the same
  }
  EXPECT_GT(early, 0);
}

TEST(KnownLimits, APackageThatCannotBeHashedIsNotSeenByARemoval) {
  Machine machine = model::InstalledMachine();
  const auto target = model::ReadWholeFile(machine.files, kSampleInf);
  const RunResult run = RunWith(machine, Command::Remove, "BCryptHashData#2+:fail=0xC0000008");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(CountPackagesWithInf(machine, *target), 1U);
}

TEST(KnownLimits, ASecondRootWhoseHardwareIdsAreCutOnceIsNotSeenByAnAudit) {
  const StartingMachine& start = *FindScenario("audit-current@duplicates").start;
  int proven = 0;
  for (std::uint32_t nth = 1; nth <= 80; ++nth) {
    Machine machine = start.machine;
    const std::string fault =
        "SetupDiGetDeviceRegistryPropertyW#" + std::to_string(nth) + ":short=2";
    if (RunWith(machine, Command::AuditCurrent, fault).status == 0) ++proven;
  }
  EXPECT_GT(proven, 0);
}

TEST(KnownLimits, ARecordStaysWhenTheProcessDiesBetweenDeletingItsMarkerAndTheRecord) {
  const std::size_t others = OtherRecords(model::InstalledMachine()).size();
  std::size_t left = 0;
  for (std::uint32_t nth = 1; nth <= 3; ++nth) {  // the first record, key by key
    Machine machine = model::InstalledMachine();
    RunWith(machine, Command::Remove, "NtDeleteKey#" + std::to_string(nth) + ":kill-after");
    model::Advance(machine, 10'000);
    EXPECT_EQ(RunCommand(machine, LineOf(Command::Remove).arguments).status, 0);
    EXPECT_TRUE(OwnedRecords(machine).empty());
    left += OtherRecords(machine).size() - others;
  }
  EXPECT_EQ(left, 1U);
}

TEST(KnownLimits, AFeignedDeletionOfARecordIsBelieved) {
  Machine machine = model::InstalledMachine();
  const RunResult run = RunWith(machine, Command::Remove, "NtDeleteKey#1+:lie");
  EXPECT_EQ(run.status, 0);
  EXPECT_FALSE(OwnedRecords(machine).empty());
}

TEST(KnownLimits, RecordsOfAListThatIsReportedAbsentStay) {
  Machine machine = model::InstalledMachine();
  const std::size_t records = OwnedRecords(machine).size();
  const RunResult run = RunWith(machine, Command::Remove, "RegOpenKeyExW#1+:fail=0x2");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(OwnedRecords(machine).size(), records);
}

TEST(KnownLimits, AFeignedShowIsBelieved) {
  Machine hidden = FindScenario("resume-endpoints@hidden-by-crash").start->machine;
  const std::size_t before = OnlyPresentRoot(hidden)->hidden.size();
  ASSERT_GT(before, 0U);
  const RunResult run = RunWith(hidden, Command::ResumeEndpoints, "DeviceIoControl#2+:lie");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(OnlyPresentRoot(hidden)->hidden.size(), before);
}

TEST(KnownLimits, AScannedPrivateCopyLeavesItsFolder) {
  Machine machine = model::InstalledMachine();
  machine.files.scanMs = 3'000;
  EXPECT_EQ(RunCommand(machine, LineOf(Command::AuditCurrent).arguments).status, 0);
  const auto folders = SnapshotFolders(machine);
  ASSERT_EQ(folders.size(), 1U);
  model::Advance(machine, 3'000);
  EXPECT_EQ(SnapshotFolders(machine), folders);
  EXPECT_TRUE(model::ListFolder(machine.files, machine.files.tempFolder + folders.front()).empty());
}

TEST(KnownLimits, AKilledProcessLeavesItsPrivateCopy) {
  Machine machine = model::OutdatedMachine();
  RunWith(machine, Command::Install, "UpdateDriverForPlugAndPlayDevicesW#1:kill-before");
  EXPECT_EQ(SnapshotFolders(machine).size(), 1U);
}

}  // namespace vorn::tests

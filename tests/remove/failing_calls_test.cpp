#include "base/text.h"
#include "platform/simulated/endpoint_builder.h"
#include "removal_world.h"
#include "remove/log_placement.h"
#include "remove/root_removal.h"
#include "report/removal_log.h"
#include "tests/support/each_call.h"
#include "tests/support/machine_view.h"

#include <gtest/gtest.h>

// Removes again and again, each time with another platform call going wrong. Whatever becomes of
// the run, what is not the program's stays, and no package goes while a root remains.

namespace vorn {
namespace {

using namespace platform::simulated;
using namespace tests;

/// The machine with one record only, so that the runs are short, and with a copy of the package and
/// another build of it.
Machine Prepared(Machine machine) {
  std::size_t kept = 0;
  for (const std::u16string& record : OwnedRecords(machine)) {
    if (kept++ < 1) continue;
    RemoveKeyTree(machine.registry, kEndpointRecordsPath + (u"\\" + record));
  }
  CopyPackage(machine, u"oem3.inf", u"oem12.inf");
  CopyPackage(machine, u"oem3.inf", u"oem7.inf");
  PutFile(machine.files, PublishedInfPath(machine, u"oem7.inf"), InfText(PackageRecipe{}) + ";\n");
  machine.store.Find(u"oem7.inf")->foreign = true;
  return machine;
}

/// Whether the statuses and final lines are among those that the command has.
::testing::AssertionResult IsAnswer(const RunResult& result) {
  struct {
    ExitStatus status;
    bool error;
    std::string_view line;
  } const rows[] = {
      {0, false, "vorn_devnode: RESULT=OK - removed "},
      {3, true, "vorn_devnode: RESULT=REMOVE_FAILED - expected INF could not be authenticated; "},
      {3, true, "vorn_devnode: SetupDiGetClassDevs failed (error 0x"},
      {3, true, "vorn_devnode: protected local package snapshot refused (error 0x"},
      {17, true, "vorn_devnode: RESULT=REMOVE_BUSY - "},
      {10, false, "vorn_devnode: RESULT=REBOOT_REQUIRED - removal is pending restart"},
      {10, true, "vorn_devnode: RESULT=REBOOT_REQUIRED - "},
      {13, true, "vorn_devnode: RESULT=REMOVE_FAILED - partial or unverifiable removal; "},
      {13, true, "vorn_devnode: RESULT=REMOVE_FAILED - device roots are absent but exact "},
      {13, true, "vorn_devnode: RESULT=REMOVE_FAILED - "},
  };
  const Console lines = ConsoleOf(result);
  for (const auto& row : rows) {
    for (const ConsoleLine& line : lines) {
      if (result.status == row.status && line.error == row.error &&
          line.text.starts_with(row.line)) {
        return ::testing::AssertionSuccess();
      }
    }
  }
  auto failure = ::testing::AssertionFailure() << "status " << result.status;
  for (const ConsoleLine& line : lines)
    failure << line;
  return failure;
}

/// What happened on the machine must be what the status says.
void JudgeStatus(const Machine& before, const Machine& after, const RunResult& result) {
  if (result.status == 0) {
    EXPECT_TRUE(InstalledRootIds(after).empty());
    EXPECT_EQ(after.store.Find(u"oem3.inf"), nullptr);
    EXPECT_EQ(after.store.Find(u"oem12.inf"), nullptr);
    return;
  }
  if (result.status == 17) {
    EXPECT_EQ(InstalledRootIds(after), InstalledRootIds(before));
  }
  if (result.status == 3 || result.status == 17 || result.status == 10) {
    EXPECT_EQ(after.store, before.store);
  }
  EXPECT_EQ(OwnedRecords(after), OwnedRecords(before)) << "records go with a success only";
}

void RemoveWithEachCallGoingWrong(const Machine& start, FaultKind kind, std::uint32_t error) {
  std::vector<CallRecord> calls;
  {
    Machine machine = start;
    const RunResult whole = Remove(machine);
    ASSERT_EQ(whole.status, 0);
    calls = whole.calls;
  }
  ASSERT_GT(calls.size(), 400U);
  std::uint32_t lastSaid = 0;  // what follows the final line is clean-up
  for (std::uint32_t i = 0; i < calls.size(); ++i) {
    if (calls[i].name == "fputws") lastSaid = i + 1;
  }
  for (std::uint32_t nth = 1; nth <= calls.size(); ++nth) {
    const std::string& name = calls[nth - 1].name;
    if (name == "fputws") continue;
    SCOPED_TRACE("call " + std::to_string(nth) + ": " + name);
    Machine machine = start;
    RunOptions options;
    options.logCalls = false;
    Fault fault;
    fault.first = fault.last = nth;
    fault.kind = kind;
    fault.error = error;
    options.faults = {fault};
    const RunResult result = Remove(machine, options);
    EXPECT_TRUE(IsAnswer(result));
    EXPECT_EQ(BrokenPromises(start, machine), std::vector<std::string>{});
    JudgeStatus(start, machine, result);
    const bool lies = kind != FaultKind::Fail;
    if (!GivesBack(name) && !lies) {
      EXPECT_TRUE(result.openObjects.empty());
      // The snapshot stays only if a call that deletes it fails.
      if (nth <= lastSaid) {
        EXPECT_TRUE(SnapshotFolders(machine).empty());
      }
    }
    if (::testing::Test::HasFailure()) return;
  }
}

TEST(RemoveWithAFailingCall, KeepsItsPromisesOnAnInstalledMachine) {
  RemoveWithEachCallGoingWrong(Prepared(InstalledMachine()), FaultKind::Fail, 5);
}

TEST(RemoveWithAFailingCall, KeepsItsPromisesWithSeveralRoots) {
  RemoveWithEachCallGoingWrong(Prepared(DuplicatesMachine()), FaultKind::Fail, 31);
}

TEST(RemoveWithAFailingCall, KeepsItsPromisesWithADisabledDevice) {
  RemoveWithEachCallGoingWrong(Prepared(DisabledMachine()), FaultKind::Fail, 1450);
}

TEST(RemoveWithALyingCall, KeepsItsPromisesWhenItFailsAfterItsEffect) {
  RemoveWithEachCallGoingWrong(Prepared(DuplicatesMachine()), FaultKind::FailAfterEffect, 5);
}

TEST(RemoveWhenKilled, KeepsItsPromisesWhereverItEnds) {
  const Machine start = Prepared(InstalledMachine());
  Machine whole = start;
  const auto total = static_cast<std::uint32_t>(Remove(whole).callCount);
  for (std::uint32_t nth = 1; nth <= total; ++nth) {
    SCOPED_TRACE(nth);
    Machine machine = start;
    RunOptions options;
    options.logCalls = false;
    Fault fault;
    fault.first = fault.last = nth;
    fault.kind = FaultKind::KillAfter;
    options.faults = {fault};
    Remove(machine, options);
    ASSERT_EQ(BrokenPromises(start, machine), std::vector<std::string>{});
    EXPECT_EQ(CountOwnOpens(machine.files), 0U);
  }
}

TEST(RemoveWithAFailingCall, RemovesTheRootsInOneWalk) {
  WithEachCallGoingWrong(
      DuplicatesMachine(), FaultKind::Fail, [] { return RemoveInstalledRoots().has_value(); },
      [](const Process& process, const Machine&, bool listed) {
        EXPECT_TRUE(listed || !process.ErrorOutput().empty());
      });
}

TEST(RemoveWithAFailingCall, PlacesTheLogOnce) {
  const auto place = [] {
    RemovalLog log;
    PlaceRemovalLog(kSampleInf, log);
    return true;
  };
  WithEachCallGoingWrong(
      CleanMachine(), FaultKind::Fail, place,
      [](const Process& process, const Machine&, bool) { EXPECT_TRUE(process.console.empty()); });
}

}  // namespace
}  // namespace vorn

// The install command when Windows defers the driver switch to a restart.

#include "platform/simulated/file_tree.h"
#include "tests/install/install_run.h"
#include "tests/support/activation.h"
#include "tests/support/console_lines.h"
#include "tests/support/machine_view.h"
#include "tests/support/run_command.h"
#include "tests/support/world.h"

#include <gtest/gtest.h>

namespace vorn {
namespace {

using platform::simulated::Fault;
using platform::simulated::Machine;
using platform::simulated::OutdatedMachine;
using platform::simulated::PutFile;
using platform::simulated::RemovePath;
using platform::simulated::SetStringProperty;
using tests::ChangeBefore;
using tests::Console;
using tests::ConsoleOf;
using tests::ControlCodes;
using tests::CountOf;
using tests::Deferred;
using tests::Err;
using tests::ExpectRun;
using tests::FailingCall;
using tests::Install;
using tests::InstallRollback;
using tests::JournalIn;
using tests::kPersisted;
using tests::kRollbackSelected;
using tests::kSampleJournal;
using tests::kSampleProven;
using tests::kUpdated;
using tests::kVisibility;
using tests::MakeSampleDefer;
using tests::RootOf;
using tests::RunResult;
using tests::VisibleEndpoints;

TEST(DeferredSwitch, IsTakenBackWhenThePreviousPackageIsKnown) {
  Machine machine = OutdatedMachine();
  MakeSampleDefer(machine);
  const RunResult run = Install(machine);
  ExpectRun(run, kExitHotSwapFailed, {kPersisted, Deferred("HOT_SWAP_FAILED", true)});
  EXPECT_EQ(JournalIn(machine, kSampleJournal), std::nullopt);
  EXPECT_EQ(tests::BoundVersion(machine), "26.8.9.4");
  EXPECT_EQ(tests::PendingPackage(machine), "");

  const auto binds = run.CallsOf("UpdateDriverForPlugAndPlayDevicesW");
  ASSERT_EQ(binds.size(), 2U);
  EXPECT_EQ(binds[1].Argument("HardwareId"), "Root\\VornAudio");
  EXPECT_EQ(binds[1].Argument("FullInfPath"), "C:\\Windows\\INF\\oem3.inf");
  EXPECT_EQ(binds[1].Argument("InstallFlags"), "0x1");
}

TEST(DeferredSwitch, ShowsTheEndpointsWhenTheOldDriverStaysInMemory) {
  Machine machine = OutdatedMachine();
  machine.store.updateNeedsRestart = true;  // for both binds
  const RunResult run = Install(machine);
  ExpectRun(run, kExitHotSwapFailed, {kPersisted, Deferred("HOT_SWAP_FAILED", true)});
  EXPECT_EQ(CountOf(ControlCodes(run), kVisibility), 40U);
  EXPECT_EQ(VisibleEndpoints(machine), 20U);
}

TEST(DeferredSwitch, ForgetsWhatWasHiddenWhenTheSecondBindRestartedTheDriver) {
  Machine machine = OutdatedMachine();
  MakeSampleDefer(machine);
  const RunResult run = Install(machine);
  ExpectRun(run, kExitHotSwapFailed, {kPersisted, Deferred("HOT_SWAP_FAILED", true)});
  EXPECT_EQ(CountOf(ControlCodes(run), kVisibility), 20U);
  Advance(machine, 60'000);  // the restarted driver shows them itself
  EXPECT_EQ(VisibleEndpoints(machine), 20U);
}

TEST(DeferredSwitch, KeepsTheJournalOfARollbackForTheRestart) {
  Machine machine = OutdatedMachine();
  MakeSampleDefer(machine);
  const RunResult run = InstallRollback(machine);
  ExpectRun(run, kExitRebootRequired, {kPersisted, kRollbackSelected});
  EXPECT_EQ(run.CallsOf("UpdateDriverForPlugAndPlayDevicesW").size(), 1U);
  EXPECT_TRUE(JournalIn(machine, kSampleJournal).has_value());
  EXPECT_EQ(VisibleEndpoints(machine), 20U);
  EXPECT_EQ(tests::ResidentVersion(machine), "26.8.9.4");
  EXPECT_EQ(tests::PendingPackage(machine), "oem4.inf");
}

TEST(DeferredSwitch, HasTheStatusThatGoesWithWhatWasRestored) {
  struct Case {
    bool started;
    bool restored;
    const char* code;
    ExitStatus status;
  };
  const Case cases[] = {
      {true, true, "HOT_SWAP_FAILED", kExitHotSwapFailed},
      {true, false, "HOT_SWAP_FAILED", kExitHotSwapFailed},
      {false, true, "NOT_STARTED", kExitBindRefused},
      {false, false, "NOT_STARTED", kExitNotStarted},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(std::string(row.started ? "started" : "stopped") +
                 (row.restored ? ", restored" : ", not restored"));
    Machine machine = OutdatedMachine();
    MakeSampleDefer(machine);
    if (!row.started) tests::StopRoot(machine, 10);
    std::vector<Fault> faults;
    if (!row.restored) faults = {FailingCall("UpdateDriverForPlugAndPlayDevicesW", 5, 2)};
    const RunResult run = Install(machine, {.faults = faults});
    EXPECT_EQ(run.status, row.status);
    EXPECT_EQ(ConsoleOf(run).back(), Deferred(row.code, row.restored));
    EXPECT_EQ(JournalIn(machine, kSampleJournal), std::nullopt);
  }
}

TEST(DeferredSwitch, SaysWhyThePreviousPackageCouldNotBeSelected) {
  Machine machine = OutdatedMachine();
  MakeSampleDefer(machine);
  const RunResult run = Install(
      machine, {.faults = {FailingCall("UpdateDriverForPlugAndPlayDevicesW", 0xE0000203, 2)}});
  ExpectRun(run, kExitHotSwapFailed,
            {kPersisted,
             Err("vorn_devnode: could not re-select the previous driver package oem3.inf (error "
                 "0xE0000203)"),
             Deferred("HOT_SWAP_FAILED", false)});
  EXPECT_EQ(VisibleEndpoints(machine), 20U);
}

TEST(DeferredSwitch, HoldsThePreviousInfOpenWhileItIsBound) {
  Machine machine = OutdatedMachine();
  MakeSampleDefer(machine);
  bool held = false;
  const Fault fault =
      ChangeBefore("UpdateDriverForPlugAndPlayDevicesW", 2, [&held](Machine& world) {
        held = IsOpen(world.files, *FindNode(world.files, u"C:\\Windows\\INF\\oem3.inf"));
      });
  Install(machine, {.faults = {fault}});
  EXPECT_TRUE(held);
}

TEST(DeferredSwitch, DoesNotSelectAPreviousPackageThatCannotBeReopened) {
  Machine machine = OutdatedMachine();
  MakeSampleDefer(machine);
  // Another process deletes the INF after it was authenticated and before it is opened for the
  // bind.
  std::uint32_t opens = 0;
  {
    Machine probe = machine;
    opens = static_cast<std::uint32_t>(Install(probe).CallsOf("QueryDosDeviceW").size());
  }
  // Each open by path looks the drive up once, and the last open is the one for the bind.
  const Fault fault = ChangeBefore("QueryDosDeviceW", opens, [](Machine& world) {
    RemovePath(world.files, u"C:\\Windows\\INF\\oem3.inf");
  });
  const RunResult run = Install(machine, {.faults = {fault}});
  ExpectRun(run, kExitHotSwapFailed,
            {kPersisted,
             Err("vorn_devnode: could not re-select the previous driver package oem3.inf (error "
                 "0x00000002)"),
             Deferred("HOT_SWAP_FAILED", false)});
  EXPECT_EQ(run.CallsOf("UpdateDriverForPlugAndPlayDevicesW").size(), 1U);
}

struct UnknownPrevious {
  const char* name;
  void (*shape)(Machine& machine);
  std::string shown;  // as the package's name
  Console said = {};  // by the reader of the INF, before that
};

TEST(DeferredSwitch, DoesNotSelectAPreviousPackageThatIsNotProvablyTheProgramsOwn) {
  const auto reader = Err("vorn_devnode: INF has no valid DriverVer date/version");
  const UnknownPrevious cases[] = {
      {"no name",
       [](Machine& m) {
         SetStringProperty(RootOf(m), platform::simulated::kDriverInfPathKey, u"");
       },
       ""},
      {"a name of no published package",
       [](Machine& m) {
         SetStringProperty(RootOf(m), platform::simulated::kDriverInfPathKey, u"machine.inf");
         PutFile(m.files, u"C:\\Windows\\INF\\machine.inf",
                 tests::TextOf(m, u"C:\\Windows\\INF\\oem3.inf"));
       },
       "machine.inf"},
      {"a name with a path",
       [](Machine& m) {
         SetStringProperty(RootOf(m), platform::simulated::kDriverInfPathKey, u"..\\oem3.inf");
       },
       "..\\oem3.inf"},
      {"a name in upper case of no file",
       [](Machine& m) {
         SetStringProperty(RootOf(m), platform::simulated::kDriverInfPathKey, u"OEM9.INF");
       },
       "OEM9.INF"},
      {"a missing file", [](Machine& m) { RemovePath(m.files, u"C:\\Windows\\INF\\oem3.inf"); },
       "oem3.inf"},
      {"a file with a second name",
       [](Machine& m) {
         AddHardLink(m.files, u"C:\\Windows\\INF\\oem3.inf", u"C:\\Windows\\INF\\other.inf");
       },
       "oem3.inf"},
      {"an INF without DriverVer",
       [](Machine& m) {
         PutFile(m.files, u"C:\\Windows\\INF\\oem3.inf",
                 "[Version]\r\nSignature=\"$Windows NT$\"\r\n");
       },
       "oem3.inf",
       {reader}},
      {"an INF of another version",
       [](Machine& m) {
         PutFile(m.files, u"C:\\Windows\\INF\\oem3.inf",
                 "[Version]\r\nSignature=\"$Windows NT$\"\r\nDriverVer=07/02/2026,26.8.9.5\r\n");
       },
       "oem3.inf"},
      {"no bound version",
       [](Machine& m) {
         SetStringProperty(RootOf(m), platform::simulated::kDriverVersionKey, u"");
       },
       "oem3.inf"},
      {"another service",
       [](Machine& m) {
         SetStringProperty(RootOf(m), platform::simulated::kServiceKey, u"OtherAudio");
       },
       "oem3.inf"},
  };
  for (const UnknownPrevious& row : cases) {
    SCOPED_TRACE(row.name);
    Machine machine = OutdatedMachine();
    MakeSampleDefer(machine);
    row.shape(machine);
    const RunResult run = Install(machine);
    EXPECT_EQ(run.status, kExitHotSwapFailed);
    Console expected = {kPersisted};
    expected.insert(expected.end(), row.said.begin(), row.said.end());
    expected.push_back(Err("vorn_devnode: previous driver package selection is unknown (\"" +
                           row.shown + "\"); nothing to re-select"));
    expected.push_back(Deferred("HOT_SWAP_FAILED", false));
    EXPECT_EQ(ConsoleOf(run), expected);
    EXPECT_EQ(run.CallsOf("UpdateDriverForPlugAndPlayDevicesW").size(), 1U);
    EXPECT_EQ(JournalIn(machine, kSampleJournal), std::nullopt);
    EXPECT_EQ(VisibleEndpoints(machine), 20U);
  }
}

TEST(DeferredSwitch, NamesThePreviousPackageAsTheRootDoes) {
  Machine machine = OutdatedMachine();
  MakeSampleDefer(machine);
  SetStringProperty(RootOf(machine), platform::simulated::kDriverInfPathKey, u"OEM3.Inf");
  const RunResult run =
      Install(machine, {.faults = {FailingCall("UpdateDriverForPlugAndPlayDevicesW", 5, 2)}});
  ExpectRun(run, kExitHotSwapFailed,
            {kPersisted,
             Err("vorn_devnode: could not re-select the previous driver package OEM3.Inf (error "
                 "0x00000005)"),
             Deferred("HOT_SWAP_FAILED", false)});
}

TEST(DeferredSwitch, ComparesTheServiceWithoutRegardToCase) {
  Machine machine = OutdatedMachine();
  MakeSampleDefer(machine);
  SetStringProperty(RootOf(machine), platform::simulated::kServiceKey, u"VORNAUDIO");
  ExpectRun(Install(machine), kExitHotSwapFailed, {kPersisted, Deferred("HOT_SWAP_FAILED", true)});
}

TEST(DeferredSwitch, ComparesTheVersionWithoutRegardToCase) {
  Machine machine = OutdatedMachine();
  MakeSampleDefer(machine);
  std::string inf = tests::TextOf(machine, u"C:\\Windows\\INF\\oem3.inf");
  inf.replace(inf.find("26.8.9.4"), 8, "26.8.9.4b");
  PutFile(machine.files, u"C:\\Windows\\INF\\oem3.inf", inf);
  SetStringProperty(RootOf(machine), platform::simulated::kDriverVersionKey, u"26.8.9.4B");
  ExpectRun(Install(machine), kExitHotSwapFailed, {kPersisted, Deferred("HOT_SWAP_FAILED", true)});
}

TEST(DeferredSwitch, LooksForThePreviousPackageOnlyWhenItIsNeeded) {
  Machine machine = OutdatedMachine();
  const RunResult run = Install(machine);
  ExpectRun(run, kExitOk, {kPersisted, kUpdated, kSampleProven});
  EXPECT_EQ(run.CallsOf("UpdateDriverForPlugAndPlayDevicesW").size(), 1U);
  Machine rollback = OutdatedMachine();
  MakeSampleDefer(rollback);
  const auto folders = InstallRollback(rollback).CallsOf("GetWindowsDirectoryW");
  EXPECT_TRUE(folders.empty());
}

TEST(DeferredSwitch, DoesNotSelectAPreviousPackageWhenTheWindowsFolderIsUnknown) {
  Machine machine = OutdatedMachine();
  MakeSampleDefer(machine);
  const RunResult run = Install(machine, {.faults = {FailingCall("GetWindowsDirectoryW", 5)}});
  ExpectRun(run, kExitHotSwapFailed,
            {kPersisted,
             Err("vorn_devnode: previous driver package selection is unknown (\"oem3.inf\"); "
                 "nothing to re-select"),
             Deferred("HOT_SWAP_FAILED", false)});
  EXPECT_EQ(run.CallsOf("UpdateDriverForPlugAndPlayDevicesW").size(), 1U);
  EXPECT_EQ(JournalIn(machine, kSampleJournal), std::nullopt);
  EXPECT_EQ(VisibleEndpoints(machine), 20U);
}

}  // namespace
}  // namespace vorn

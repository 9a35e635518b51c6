// The install command before it changes a device: the INF and the roots.

#include "install/install_command.h"

#include "base/text.h"
#include "platform/files.h"
#include "platform/security.h"
#include "platform/simulated/process.h"
#include "tests/install/install_run.h"
#include "tests/support/activation.h"
#include "tests/support/console_lines.h"
#include "tests/support/device_world.h"
#include "tests/support/machine_view.h"
#include "tests/support/run_command.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace vorn {
namespace {

using platform::simulated::CleanMachine;
using platform::simulated::DuplicatesMachine;
using platform::simulated::Fault;
using platform::simulated::InstalledMachine;
using platform::simulated::Machine;
using platform::simulated::Process;
using platform::simulated::PutFile;
using platform::simulated::WritePackage;
using tests::ChangeBefore;
using tests::Console;
using tests::Err;
using tests::ExpectRun;
using tests::FailingCall;
using tests::Install;
using tests::InstalledRootIds;
using tests::JournalIn;
using tests::kPersisted;
using tests::kRootId;
using tests::kSampleInf;
using tests::kSampleJournal;
using tests::Out;
using tests::ProvenLine;
using tests::RunResult;

const auto kRootsRefused =
    Err("vorn_devnode: RESULT=BIND_REFUSED - VORN root cleanup could not complete synchronously");
const auto kUnreadableTarget = Err("vorn_devnode: target INF identity could not be read");

// ------------------------------------------------------------------------------------------------
// The INF.

/// Installs from an INF that is not open. An INF from a snapshot always is.
ExitStatus InstallClosedInf(const std::u16string& path) {
  privileged_input::ProtectedFiles files;
  Journal journal(files, privileged_input::AbsolutePath::Parse(kSampleJournal));
  return vorn::Install({.inf = {.path = path, .file = {}}, .journal = journal});
}

TEST(InstallPreparation, ReportsThePathOfAnInfThatIsNotOpen) {
  Machine machine = CleanMachine();
  Process process(machine);
  EXPECT_EQ(InstallClosedInf(u"C:\\pkg\\driver\\missing.inf"), kExitInputRefused);
  EXPECT_EQ(ToUtf8(process.ErrorOutput()),
            "vorn_devnode: INF not found: C:\\pkg\\driver\\missing.inf\n");
}

TEST(InstallPreparation, ReportsAnEmptyPathWhenTheSnapshotHasNoHandle) {
  Machine machine = CleanMachine();
  Process process(machine);
  EXPECT_EQ(InstallClosedInf(u""), kExitInputRefused);
  EXPECT_EQ(ToUtf8(process.ErrorOutput()), "vorn_devnode: INF not found: \n");
}

TEST(InstallPreparation, RefusesAnInfWithoutAReadableIdentity) {
  struct Case {
    const char* name;
    const char* content;
    Console console;
  };
  const auto notOpened = [](const char* error) {
    return Err("vorn_devnode: SetupOpenInfFile(expected DriverVer) failed (error " +
               std::string(error) + ")");
  };
  const auto invalid = Err("vorn_devnode: INF has no valid DriverVer date/version");
  const std::string signature = "[Version]\r\nSignature=\"$Windows NT$\"\r\n";
  const std::string noDriverVer = signature + "Class=MEDIA\r\n";
  const std::string longDate = signature + "DriverVer=" + std::string(33, '1') + ",1.2.3.4\r\n";
  const std::string noVersion = signature + "DriverVer=08/10/2026\r\n";
  const Case cases[] = {
      {"empty", "", {notOpened("0x000003EE"), kUnreadableTarget}},
      {"no INF", "this is a letter", {notOpened("0xE0000000"), kUnreadableTarget}},
      {"no DriverVer", noDriverVer.c_str(), {invalid, kUnreadableTarget}},
      {"date of 33 characters", longDate.c_str(), {invalid, kUnreadableTarget}},
      {"no version", noVersion.c_str(), {invalid, kUnreadableTarget}},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(row.name);
    Machine machine = CleanMachine();
    PutFile(machine.files, kSampleInf, std::string_view(row.content));
    const RunResult run = Install(machine);
    ExpectRun(run, kExitInputRefused, row.console);
    EXPECT_FALSE(run.Called("SetupDiGetClassDevsW"));
  }
}

TEST(InstallPreparation, AcceptsAUtf16InfAndADateOf32Characters) {
  Machine machine = CleanMachine();
  WritePackage(machine.files, u"C:\\pkg\\driver",
               {.date = u"00000000000000000000000008102026", .utf16 = true});
  ExpectRun(
      Install(machine), kExitOk,
      {kPersisted, Out("vorn_devnode: Root\\VornAudio installed"),
       Out("vorn_devnode: RESULT=OK - root=ROOT\\MEDIA\\0000, "
           "package=00000000000000000000000008102026 26.8.10.5 (oem3.inf), catalog=20, active=20, "
           "present-pnp=20, kernel=20")});
  EXPECT_EQ(JournalIn(machine, kSampleJournal)->target.date, u"00000000000000000000000008102026");
}

TEST(InstallPreparation, RefusesATargetThatCannotBeHashed) {
  Machine machine = CleanMachine();
  Fault fault;
  fault.call = "BCryptOpenAlgorithmProvider";
  ExpectRun(Install(machine, {.faults = {fault}}), kExitInputRefused, {kUnreadableTarget});
}

TEST(InstallPreparation, ReadsTheTargetBeforeItLooksForARetainedJournal) {
  struct Case {
    const char* name;
    std::vector<Fault> faults;
    Console console;
  };
  const Case cases[] = {
      {"no identity",
       {FailingCall("SetupOpenInfFileW", 5)},
       {Err("vorn_devnode: SetupOpenInfFile(expected DriverVer) failed (error 0x00000005)"),
        kUnreadableTarget}},
      {"no hash", {FailingCall("BCryptOpenAlgorithmProvider", 31)}, {kUnreadableTarget}},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(row.name);
    Machine machine = CleanMachine();
    PutFile(machine.files, kSampleJournal, "planted");  // blocks every install that gets there
    ExpectRun(Install(machine, {.faults = row.faults}), kExitInputRefused, row.console);
  }
}

// ------------------------------------------------------------------------------------------------
// The roots.

TEST(InstallPreparation, LooksOnceForARetainedJournal) {
  Machine machine = platform::simulated::CleanMachine();
  const RunResult result = tests::RunCommand(machine, {u"install", kSampleInf});
  ASSERT_EQ(result.status, 0);
  const auto opened = result.CallsOf("NtCreateFile");
  EXPECT_EQ(std::count_if(opened.begin(), opened.end(),
                          [](const platform::simulated::CallRecord& call) {
                            return call.Argument("ObjectName") == ".vorn-driver-activation-state";
                          }),
            2)
      << "the look and the creation";
}

TEST(InstallRoots, AreNotPrunedWhenTheyCannotBeCounted) {
  Machine machine = InstalledMachine();
  Fault fault;
  fault.call = "SetupDiGetClassDevsW";
  const RunResult run = Install(machine, {.faults = {fault}});
  ExpectRun(run, kExitBindRefused, {kRootsRefused});
  EXPECT_EQ(run.CallsOf("SetupDiGetClassDevsW").size(), 1U);
  EXPECT_EQ(JournalIn(machine, kSampleJournal), std::nullopt);
}

TEST(InstallRoots, ArePrunedEvenWhenNoneWasCounted) {
  Machine machine = CleanMachine();
  // The roots are listed once to count them and once to prune them.
  const Fault fault = ChangeBefore("SetupDiGetClassDevsW", 2, [](Machine& world) {
    tests::AddGhostRoot(world, u"ROOT\\MEDIA\\0007");
  });
  const RunResult run = Install(machine, {.faults = {fault}});
  ExpectRun(run, kExitOk,
            {Out("vorn_devnode: removed 1 duplicate/ghost Root\\VornAudio devnode(s)"), kPersisted,
             Out("vorn_devnode: Root\\VornAudio installed"), ProvenLine(machine)});
}

TEST(InstallRoots, AreTakenFromThePruningAndNotFromTheCount) {
  Machine machine = InstalledMachine();
  // The count ends before the first device, as if the root had appeared only after it.
  const RunResult run =
      Install(machine, {.faults = {FailingCall("SetupDiEnumDeviceInfo", 259, 1)}});
  ExpectRun(run, kExitOk,
            {kPersisted,
             Out("vorn_devnode: Root\\VornAudio already runs the target package; "
                 "device left untouched"),
             ProvenLine(machine)});
}

TEST(InstallRoots, RefuseTheBindWhenNoneWasCountedAndPruningFails) {
  Machine machine = CleanMachine();
  ExpectRun(
      Install(machine, {.faults = {FailingCall("SetupDiGetClassDevsW", 31, 2)}}), kExitBindRefused,
      {Err("vorn_devnode: SetupDiGetClassDevs(prune) failed (error 0x0000001F)"), kRootsRefused});
}

TEST(InstallRoots, RefuseTheBindWhenALoneGhostCannotBeRemoved) {
  Machine machine = CleanMachine();
  tests::AddGhostRoot(machine, kRootId).temper.removeError = 5;
  ExpectRun(
      Install(machine), kExitBindRefused,
      {Err("vorn_devnode: SetupDiCallClassInstaller(DIF_REMOVE duplicate) failed (error "
           "0x00000005)"),
       Err("vorn_devnode: duplicate-root cleanup could not prove the selected live generation"),
       kRootsRefused});
}

TEST(InstallRoots, ArePrunedDownToTheOneThatRuns) {
  Machine machine = DuplicatesMachine();
  const RunResult run = Install(machine);
  ExpectRun(run, kExitOk,
            {Out("vorn_devnode: removed 2 duplicate/ghost Root\\VornAudio devnode(s)"), kPersisted,
             Out("vorn_devnode: Root\\VornAudio already runs the target package; "
                 "device left untouched"),
             ProvenLine(machine)});
  EXPECT_EQ(InstalledRootIds(machine).size(), 1U);
}

TEST(InstallRoots, RefuseTheBindWhenPruningFails) {
  Machine machine = DuplicatesMachine();
  machine.devices.Find(u"ROOT\\MEDIA\\0002")->temper.removeError = 5;
  const RunResult run = Install(machine);
  EXPECT_EQ(run.status, kExitBindRefused);
  EXPECT_EQ(tests::ConsoleOf(run).back(), kRootsRefused);
  EXPECT_FALSE(run.Called("UpdateDriverForPlugAndPlayDevicesW"));
  EXPECT_EQ(JournalIn(machine, kSampleJournal), std::nullopt);
}

TEST(InstallRoots, RefuseTheBindWhenTheRemovalOfDuplicatesIsDeferred) {
  Machine machine = DuplicatesMachine();
  auto& second = *machine.devices.Find(u"ROOT\\MEDIA\\0002");
  second.temper.removeNeedsRestart = true;
  second.temper.removeKeepsNodeUntilRestart = true;
  const RunResult run = Install(machine);
  ExpectRun(run, kExitBindRefused,
            {Err("vorn_devnode: RESULT=DUPLICATE_CLEANUP_REBOOT - duplicate removal is deferred; 2 "
                 "present roots remain"),
             Out("vorn_devnode: removed 2 duplicate/ghost Root\\VornAudio devnode(s) (restart "
                 "pending)"),
             kRootsRefused});
}

TEST(InstallRoots, RefuseTheBindWhenARestartIsPendingEvenIfOneRootRemains) {
  Machine machine = DuplicatesMachine();
  machine.devices.Find(u"ROOT\\MEDIA\\0002")->temper.removeNeedsRestart = true;
  ExpectRun(Install(machine), kExitBindRefused,
            {Out("vorn_devnode: removed 2 duplicate/ghost Root\\VornAudio devnode(s) (restart "
                 "pending)"),
             kRootsRefused});
}

TEST(InstallRoots, RefuseTheBindWhenTheRemovalOfTheSecondOfTwoWaitsForARestart) {
  Machine machine = InstalledMachine();
  tests::AddGhostRoot(machine, u"ROOT\\MEDIA\\0007").temper.removeNeedsRestart = true;
  ExpectRun(Install(machine), kExitBindRefused,
            {Out("vorn_devnode: removed 1 duplicate/ghost Root\\VornAudio devnode(s) (restart "
                 "pending)"),
             kRootsRefused});
}

TEST(InstallRoots, AllowTheBindAfterALoneGhostWhoseRemovalWaitsForARestart) {
  Machine machine = CleanMachine();
  tests::AddGhostRoot(machine, kRootId).temper.removeNeedsRestart = true;
  const RunResult run = Install(machine);
  ExpectRun(run, kExitOk,
            {Out("vorn_devnode: removed 1 duplicate/ghost Root\\VornAudio devnode(s) (restart "
                 "pending)"),
             kPersisted, Out("vorn_devnode: Root\\VornAudio installed"), ProvenLine(machine)});
}

}  // namespace
}  // namespace vorn

// What the install command does before it looks at a device: the INF, the retained journal, the
// roots.

#include "base/text.h"
#include "install/install_command.h"
#include "platform/files.h"
#include "platform/security.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/process.h"
#include "tests/install/install_run.h"
#include "tests/support/activation.h"
#include "tests/support/console_lines.h"
#include "tests/support/run_command.h"
#include "tests/support/world.h"

#include <gtest/gtest.h>

namespace vorn {
namespace {

using platform::simulated::AddHardLink;
using platform::simulated::AddRoot;
using platform::simulated::CleanMachine;
using platform::simulated::DuplicatesMachine;
using platform::simulated::Fault;
using platform::simulated::FaultKind;
using platform::simulated::InstalledMachine;
using platform::simulated::Machine;
using platform::simulated::NodeAt;
using platform::simulated::OutdatedMachine;
using platform::simulated::ParseSddl;
using platform::simulated::Process;
using platform::simulated::PutFile;
using platform::simulated::WritePackage;
using tests::Console;
using tests::Err;
using tests::ExpectRun;
using tests::ExpectTidy;
using tests::Install;
using tests::JournalIn;
using tests::kPersisted;
using tests::kRootId;
using tests::kSampleInf;
using tests::kSampleJournal;
using tests::Out;
using tests::ProvenLine;
using tests::PutJournal;
using tests::RootCount;
using tests::RootOf;
using tests::RunCommand;
using tests::RunResult;
using tests::UpdateTarget;

const auto kNotInspected = Err("vorn_devnode: activation state could not be safely inspected");
const auto kRootsRefused =
    Err("vorn_devnode: RESULT=BIND_REFUSED - VORN root cleanup could not complete synchronously");
const auto kUnreadableTarget = Err("vorn_devnode: target INF identity could not be read");

tests::ConsoleLine Mismatch(int readable, int verify) {
  return Err(
      "vorn_devnode: protected activation state exists and does not match the live driver "
      "(readable=" +
      std::to_string(readable) + ", verify=" + std::to_string(verify) +
      "); recover or roll it back before another bind");
}

// ------------------------------------------------------------------------------------------------
// The INF.

/// Installs from an INF that is not open, as nobody does who has a snapshot.
ExitStatus InstallClosedInf(const std::u16string& path) {
  privileged_input::ProtectedFiles files;
  Journal journal(files, privileged_input::AbsolutePath::Parse(kSampleJournal));
  return vorn::Install({.inf = {.path = path, .file = {}}, .journal = journal});
}

TEST(InstallPreparation, NamesAnInfThatIsNotOpen) {
  Machine machine = CleanMachine();
  Process process(machine);
  EXPECT_EQ(InstallClosedInf(u"C:\\pkg\\driver\\missing.inf"), kExitInputRefused);
  EXPECT_EQ(ToUtf8(process.ErrorOutput()),
            "vorn_devnode: INF not found: C:\\pkg\\driver\\missing.inf\n");
}

TEST(InstallPreparation, NamesAnEmptyPathWhenTheSnapshotHasNoHandle) {
  Machine machine = CleanMachine();
  Process process(machine);
  EXPECT_EQ(InstallClosedInf(u""), kExitInputRefused);
  EXPECT_EQ(ToUtf8(process.ErrorOutput()), "vorn_devnode: INF not found: \n");
}

TEST(InstallPreparation, RefusesAnInfThatIsNotReadableAsOne) {
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
    const Machine before = machine;
    const RunResult run = Install(machine);
    ExpectRun(run, kExitInputRefused, row.console);
    EXPECT_FALSE(run.Called("SetupDiGetClassDevsW"));
    ExpectTidy(before, machine);
  }
}

TEST(InstallPreparation, TakesAUtf16InfAndADateOf32Characters) {
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

// ------------------------------------------------------------------------------------------------
// The retained journal.

TEST(RetainedJournal, IsRetiredWhenTheLiveDriverMatchesIt) {
  Machine machine = InstalledMachine();
  PutJournal(machine, UpdateTarget(machine));
  const std::string proven = ProvenLine(machine);
  ExpectRun(Install(machine), kExitOk,
            {{false, proven},
             Out("vorn_devnode: retained activation state matches the live driver (26.8.10.5); "
                 "retiring it and continuing"),
             kPersisted,
             Out("vorn_devnode: Root\\VornAudio already runs the target package; device left "
                 "untouched"),
             {false, proven}});
  EXPECT_TRUE(JournalIn(machine, kSampleJournal).has_value());
}

TEST(RetainedJournal, BlocksWhenTheLiveDriverIsAnother) {
  Machine machine = OutdatedMachine();
  PutJournal(machine, UpdateTarget(machine));  // of the sample package, which does not run
  const Machine before = machine;
  const RunResult run = Install(machine);
  ExpectRun(
      run, kExitActivationStateBlocks,
      {Err("vorn_devnode: RESULT=ENDPOINTS_MISSING - root=healthy; package=live root is bound to "
           "the wrong driver version; kernel=; resident=RESIDENT IMAGE MISMATCH: driver reports "
           "26.8.9 (0x001A0809) but the package being activated is 26.8.10.5. PnP metadata is not "
           "proof -- the devnode restart did not load the new image.; catalog=healthy; mapping=; "
           "present= (catalog=20, active=20, present-pnp=20)"),
       Mismatch(1, 11)});
  EXPECT_FALSE(run.Called("UpdateDriverForPlugAndPlayDevicesW"));
  EXPECT_EQ(JournalIn(machine, kSampleJournal), JournalIn(before, kSampleJournal));
}

TEST(RetainedJournal, BlocksARollbackAsWell) {
  Machine machine = OutdatedMachine();
  PutJournal(machine, UpdateTarget(machine));
  const RunResult run = tests::InstallRollback(machine);
  EXPECT_EQ(run.status, kExitActivationStateBlocks);
  EXPECT_EQ(tests::ConsoleOf(run).back(), Mismatch(1, 11));
  EXPECT_FALSE(run.Called("UpdateDriverForPlugAndPlayDevicesW"));
}

TEST(RetainedJournal, BlocksWhenNoDeviceStarted) {
  Machine machine = InstalledMachine();
  PutJournal(machine, UpdateTarget(machine));
  platform::simulated::RemoveDeviceNode(machine, kRootId);
  ExpectRun(Install(machine), kExitActivationStateBlocks,
            {Err("vorn_devnode: RESULT=NOT_STARTED - devnode did not reach DN_STARTED (problem=0)"),
             Mismatch(1, 12)});
}

TEST(RetainedJournal, BlocksUnreadWhenItDoesNotParse) {
  struct Case {
    const char* name;
    std::string content;
  };
  const Case cases[] = {
      {"empty", ""},
      {"odd length", "abc"},
      {"a NUL inside", std::string("V\0\0\0", 4)},
      {"another text", "x\0y\0"},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(row.name);
    Machine machine = InstalledMachine();
    PutJournal(machine, UpdateTarget(machine));
    PutFile(machine.files, kSampleJournal, std::string_view(row.content));
    ExpectRun(Install(machine), kExitActivationStateBlocks, {Mismatch(0, 12)});
    EXPECT_TRUE(tests::HasFile(machine, kSampleJournal));
  }
}

TEST(RetainedJournal, IsNotEvenReadWhenItIsUnsafe) {
  struct Case {
    const char* name;
    void (*shape)(Machine& machine);
  };
  const auto secure = [](Machine& machine, const char16_t* sddl) {
    NodeAt(machine.files, kSampleJournal).security = ParseSddl(sddl).value();
  };
  static const auto secured = secure;
  const Case cases[] = {
      {"owned by another user",
       [](Machine& m) {
         secured(m, u"O:S-1-5-21-1000000000-2000000000-3000000000-1002D:P(A;;FA;;;SY)(A;;FA;;;BA)");
       }},
      {"without protection of its list",
       [](Machine& m) { secured(m, u"O:BAD:(A;;FA;;;SY)(A;;FA;;;BA)"); }},
      {"written by users", [](Machine& m) { secured(m, u"O:BAD:P(A;;FA;;;SY)(A;;FW;;;BU)"); }},
      {"without an access list", [](Machine& m) { secured(m, u"O:BA"); }},
      {"with a second name",
       [](Machine& m) { AddHardLink(m.files, kSampleJournal, u"C:\\pkg\\other"); }},
      {"too large", [](Machine& m) { NodeAt(m.files, kSampleJournal).zeroTail = 65536; }},
      {"a folder",
       [](Machine& m) {
         RemovePath(m.files, kSampleJournal);
         MakeFolder(m.files, kSampleJournal);
       }},
      {"a link",
       [](Machine& m) {
         MovePath(m.files, kSampleJournal, u"C:\\pkg\\elsewhere");
         PutLink(m.files, kSampleJournal, platform::simulated::ReparseKind::SymbolicLink,
                 u"C:\\pkg\\elsewhere", false);
       }},
      {"behind a link",
       [](Machine& m) {
         MovePath(m.files, u"C:\\pkg", u"C:\\real");
         PutLink(m.files, u"C:\\pkg", platform::simulated::ReparseKind::Junction, u"C:\\real",
                 true);
       }},
      {"open for writing by another process",
       [](Machine& m) {
         HoldOpen(
             m.files, kSampleJournal, platform::FILE_GENERIC_WRITE,
             platform::FILE_SHARE_READ | platform::FILE_SHARE_WRITE | platform::FILE_SHARE_DELETE);
       }},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(row.name);
    Machine machine = InstalledMachine();
    PutJournal(machine, UpdateTarget(machine));
    WritePackage(machine.files, u"C:\\other\\driver", {});
    row.shape(machine);
    const RunResult run =
        RunCommand(machine, {u"install", u"C:\\other\\driver\\vorn_audio.inf", kSampleJournal});
    ExpectRun(run, kExitActivationStateBlocks, {kNotInspected});
    EXPECT_FALSE(run.Called("SetupDiGetClassDevsW"));
  }
}

TEST(RetainedJournal, StaysInTheWayWhenItCannotBeDeleted) {
  Machine machine = InstalledMachine();
  PutJournal(machine, UpdateTarget(machine));
  // The snapshot's own removal comes later; the journal's is the first deletion.
  Fault fault;
  fault.call = "SetFileInformationByHandle";
  fault.error = 5;
  const std::string proven = ProvenLine(machine);
  ExpectRun(Install(machine, {.faults = {fault}}), kExitActivationStateBlocks,
            {{false, proven},
             Out("vorn_devnode: retained activation state matches the live driver (26.8.10.5); "
                 "retiring it and continuing"),
             Err("vorn_devnode: delete handle(activation state) failed (error 0x00000005)"),
             Err("vorn_devnode: safe create(activation state) failed (error 0x000000B7)")});
  EXPECT_TRUE(JournalIn(machine, kSampleJournal).has_value());
}

// ------------------------------------------------------------------------------------------------
// The roots.

TEST(InstallRoots, AreNotPrunedWhenTheyCannotBeCounted) {
  Machine machine = InstalledMachine();
  Fault fault;
  fault.call = "SetupDiGetClassDevsW";
  const RunResult run = Install(machine, {.faults = {fault}});
  ExpectRun(run, kExitBindRefused, {kRootsRefused});
  EXPECT_EQ(run.CallsOf("SetupDiGetClassDevsW").size(), 1U);
  EXPECT_EQ(JournalIn(machine, kSampleJournal), std::nullopt);
}

TEST(InstallRoots, ArePrunedToTheOneThatRuns) {
  Machine machine = DuplicatesMachine();
  const RunResult run = Install(machine);
  ExpectRun(run, kExitOk,
            {Out("vorn_devnode: removed 2 duplicate/ghost Root\\VornAudio devnode(s)"),
             kPersisted,
             Out("vorn_devnode: Root\\VornAudio already runs the target package; "
                 "device left untouched"),
             {false, ProvenLine(machine)}});
  EXPECT_EQ(RootCount(machine), 1U);
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

TEST(InstallRoots, RefuseTheBindWhenARestartIsPendingThoughOneRootRemains) {
  Machine machine = DuplicatesMachine();
  machine.devices.Find(u"ROOT\\MEDIA\\0002")->temper.removeNeedsRestart = true;
  ExpectRun(Install(machine), kExitBindRefused,
            {Out("vorn_devnode: removed 2 duplicate/ghost Root\\VornAudio devnode(s) (restart "
                 "pending)"),
             kRootsRefused});
}

TEST(InstallRoots, GoOnAfterALoneGhostWhoseRemovalWaitsForARestart) {
  Machine machine = CleanMachine();
  AddRoot(machine, kRootId);
  auto& ghost = RootOf(machine);
  ghost.present = false;
  ghost.status = 0;
  ghost.temper.removeNeedsRestart = true;
  const RunResult run = Install(machine);
  ExpectRun(run, kExitOk,
            {Out("vorn_devnode: removed 1 duplicate/ghost Root\\VornAudio devnode(s) (restart "
                 "pending)"),
             kPersisted,
             Out("vorn_devnode: Root\\VornAudio installed"),
             {false, ProvenLine(machine)}});
}

}  // namespace
}  // namespace vorn

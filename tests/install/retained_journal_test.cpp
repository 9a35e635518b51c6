// What the install command does with a journal that an earlier run left.

#include "install/retained_journal.h"

#include "platform/files.h"
#include "platform/security.h"
#include "platform/simulated/endpoint_builder.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/process.h"
#include "tests/install/install_run.h"
#include "tests/support/activation.h"
#include "tests/support/console_lines.h"
#include "tests/support/machine_view.h"
#include "tests/support/run_command.h"
#include "tests/support/world.h"

#include <gtest/gtest.h>

namespace vorn {
namespace {

using platform::simulated::AddHardLink;
using platform::simulated::CleanMachine;
using platform::simulated::Fault;
using platform::simulated::InstalledMachine;
using platform::simulated::Machine;
using platform::simulated::NodeAt;
using platform::simulated::OutdatedMachine;
using platform::simulated::ParseSddl;
using platform::simulated::PublishEndpoints;
using platform::simulated::PutFile;
using platform::simulated::WithdrawEndpoints;
using platform::simulated::WritePackage;
using tests::Err;
using tests::ExpectRun;
using tests::FailingCall;
using tests::Install;
using tests::JournalIn;
using tests::kPersisted;
using tests::kRootId;
using tests::kSampleJournal;
using tests::Out;
using tests::ProvenLine;
using tests::PutJournal;
using tests::RunCommand;
using tests::RunResult;
using tests::UpdateTarget;

const auto kNotInspected = Err("vorn_devnode: activation state could not be safely inspected");

tests::ConsoleLine Mismatch(int readable, int verify) {
  return Err(
      "vorn_devnode: protected activation state exists and does not match the live driver "
      "(readable=" +
      std::to_string(readable) + ", verify=" + std::to_string(verify) +
      "); recover or roll it back before another bind");
}

TEST(RetainedJournal, IsRetiredWhenTheLiveDriverMatchesIt) {
  Machine machine = InstalledMachine();
  PutJournal(machine, UpdateTarget(machine));
  const auto proven = ProvenLine(machine);
  ExpectRun(Install(machine), kExitOk,
            {proven,
             Out("vorn_devnode: retained activation state matches the live driver (26.8.10.5); "
                 "retiring it and continuing"),
             kPersisted,
             Out("vorn_devnode: Root\\VornAudio already runs the target package; device left "
                 "untouched"),
             proven});
  EXPECT_TRUE(JournalIn(machine, kSampleJournal).has_value());
}

TEST(RetainedJournal, IsNamedByItsOwnVersionWhenAnotherPackageIsInstalled) {
  Machine machine = InstalledMachine();
  PutJournal(machine, UpdateTarget(machine));
  const std::u16string newInf = tests::AddNewPackage(machine);
  const RunResult run = RunCommand(machine, {u"install", newInf, kSampleJournal});
  EXPECT_EQ(run.status, kExitOk);
  const tests::Console console = tests::ConsoleOf(run);
  ASSERT_GE(console.size(), 2U);
  EXPECT_EQ(console[1],
            Out("vorn_devnode: retained activation state matches the live driver (26.8.10.5); "
                "retiring it and continuing"));
  EXPECT_EQ(JournalIn(machine, kSampleJournal)->target.version, tests::kNewVersion);
}

TEST(RetainedJournal, IsRetiredEvenIfItsBindGaveTheEndpointsNewIds) {
  Machine machine = InstalledMachine();
  tests::DisableEveryEndpoint(machine);
  PutJournal(machine, UpdateTarget(machine));
  // A bind of a new package may do this, and the journal does not say whether its package was new.
  WithdrawEndpoints(machine, kRootId);
  machine.audio.remintNext = 20;
  PublishEndpoints(machine, kRootId);
  const RunResult run = Install(machine);
  EXPECT_EQ(run.status, kExitOk);
  EXPECT_EQ(tests::ConsoleOf(run).front(), ProvenLine(machine, 0, 0));
}

TEST(RetainedJournal, BlocksWhenAnotherDriverIsLive) {
  Machine machine = OutdatedMachine();
  PutJournal(machine, UpdateTarget(machine));  // for the sample package, which does not run
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

TEST(RetainedJournal, BlocksARollbackToo) {
  Machine machine = OutdatedMachine();
  PutJournal(machine, UpdateTarget(machine));
  const RunResult run = tests::InstallRollback(machine);
  EXPECT_EQ(run.status, kExitActivationStateBlocks);
  EXPECT_EQ(tests::ConsoleOf(run).back(), Mismatch(1, 11));
  EXPECT_FALSE(run.Called("UpdateDriverForPlugAndPlayDevicesW"));
}

TEST(RetainedJournal, BlocksWhenNoDeviceIsStarted) {
  Machine machine = InstalledMachine();
  PutJournal(machine, UpdateTarget(machine));
  platform::simulated::RemoveDeviceNode(machine, kRootId);
  ExpectRun(Install(machine), kExitActivationStateBlocks,
            {Err("vorn_devnode: RESULT=NOT_STARTED - devnode did not reach DN_STARTED (problem=0)"),
             Mismatch(1, 12)});
}

TEST(RetainedJournal, BlocksWithoutAVerificationWhenItDoesNotParse) {
  struct Case {
    const char* name;
    std::string content;
  };
  const Case cases[] = {
      {"empty", ""},
      {"odd length", "abc"},
      {"a NUL inside", std::string("V\0\0\0", 4)},
      {"another text", std::string("x\0y\0", 4)},
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

TEST(RetainedJournal, BlocksUnreadWhenItIsUnsafe) {
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
      {"with an unprotected access list",
       [](Machine& m) { secured(m, u"O:BAD:(A;;FA;;;SY)(A;;FA;;;BA)"); }},
      {"writable by users", [](Machine& m) { secured(m, u"O:BAD:P(A;;FA;;;SY)(A;;FW;;;BU)"); }},
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

TEST(RetainedJournal, CountsAsMissingOnlyWhenTheFileIsNotFound) {
  std::uint32_t nth = 1;  // which open is the journal's
  {
    Machine probe = CleanMachine();
    for (const auto& open : Install(probe).CallsOf("NtCreateFile")) {
      if (open.Argument("ObjectName") == ".vorn-driver-activation-state") break;
      ++nth;
    }
  }
  Machine machine = CleanMachine();
  ExpectRun(Install(machine, {.faults = {FailingCall("NtCreateFile", 3, nth)}}),
            kExitActivationStateBlocks, {kNotInspected});
}

TEST(RetainedJournal, StillBlocksWhenItCannotBeDeleted) {
  Machine machine = InstalledMachine();
  PutJournal(machine, UpdateTarget(machine));
  // The journal is the first file that is deleted; the snapshot follows later.
  const Fault fault = FailingCall("SetFileInformationByHandle", 5);
  const auto proven = ProvenLine(machine);
  ExpectRun(Install(machine, {.faults = {fault}}), kExitActivationStateBlocks,
            {proven,
             Out("vorn_devnode: retained activation state matches the live driver (26.8.10.5); "
                 "retiring it and continuing"),
             Err("vorn_devnode: delete handle(activation state) failed (error 0x00000005)"),
             Err("vorn_devnode: safe create(activation state) failed (error 0x000000B7)")});
  EXPECT_TRUE(JournalIn(machine, kSampleJournal).has_value());
}

}  // namespace
}  // namespace vorn

// INF paths that the commands refuse: forms that Windows would read differently, and valid forms
// that do not lead to a plain file in a plain folder on a local disk.

#include "platform/files.h"
#include "platform/simulated/file_values.h"
#include "tests/scenarios/refused_run.h"
#include "tests/support/activation.h"
#include "tests/support/judged_run.h"
#include "tests/support/sample.h"

#include <gtest/gtest.h>

namespace vorn {
namespace {

using namespace platform::simulated;
using tests::Arguments;
using tests::BadPath;
using tests::Console;
using tests::Err;
using tests::ExpectRefused;
using tests::kSampleFolder;
using tests::kSampleInf;
using tests::kSampleJournal;
using tests::Out;
using tests::ProvenLine;
using tests::RunCommand;
using tests::RunOptions;
using tests::RunResult;

Console SnapshotRefused(const std::string& error) {
  return {Err("vorn_devnode: protected local package snapshot refused (error 0x" + error + ")")};
}

TEST(RefusedInfPath, HasAForbiddenForm) {
  const Machine machine = InstalledMachine();
  for (const BadPath& row : tests::BadFormsOf(kSampleInf)) {
    SCOPED_TRACE(row.name);
    ExpectRefused(machine, {u"install", row.path}, kExitInputRefused, {});
    ExpectRefused(machine, {u"install", row.path, kSampleJournal}, kExitInputRefused, {});
    ExpectRefused(machine, {u"install", row.path, kSampleJournal, u"--rollback"}, kExitInputRefused,
                  {});
    ExpectRefused(machine, {u"audit-current", row.path}, kExitInputRefused,
                  SnapshotRefused("0000007B"));
    ExpectRefused(machine, {u"remove", row.path}, kExitRemoveRefused, SnapshotRefused("0000007B"));
  }
}

/// Every command that takes an INF refuses the snapshot.
void ExpectSnapshotRefused(const Machine& machine, const std::u16string& inf,
                           const std::string& error, const RunOptions& options = {}) {
  const Console console = SnapshotRefused(error);
  ExpectRefused(machine, {u"install", inf, kSampleJournal}, kExitInputRefused, console, options);
  ExpectRefused(machine, {u"install", inf, kSampleJournal, u"--rollback"}, kExitInputRefused,
                console, options);
  ExpectRefused(machine, {u"audit-current", inf}, kExitInputRefused, console, options);
  ExpectRefused(machine, {u"remove", inf}, kExitRemoveRefused, console, options);
}

struct BadPlace {
  const char* name;
  void (*shape)(Machine& machine);
  std::u16string inf;
  const char* error;
};

void Map(Machine& machine, const char16_t* target) {
  machine.files.dosDevices[u"N:"] = target;
}

void Move(Machine& machine, const char16_t* from, const char16_t* to) {
  MovePath(machine.files, from, to);
}

void PutSymbolicLink(Machine& machine, const char16_t* path, const char16_t* target, bool folder) {
  PutLink(machine.files, path, ReparseKind::SymbolicLink, target, folder);
}

TEST(RefusedInfPath, DoesNotLeadToAPlainFileOnALocalDisk) {
  const BadPlace cases[] = {
      {"the root of a drive", [](Machine&) {}, u"C:\\", "0000007B"},
      {"no such file", [](Machine&) {}, u"C:\\pkg\\driver\\missing.inf", "00000002"},
      {"no such folder", [](Machine&) {}, u"C:\\missing\\vorn_audio.inf", "00000002"},
      {"no such drive", [](Machine&) {}, u"N:\\driver\\vorn_audio.inf", "00000002"},
      {"a network drive", [](Machine& m) { Map(m, u"\\Device\\Mup\\server\\share"); },
       u"N:\\vorn_audio.inf", "000004B0"},
      {"a substituted drive", [](Machine& m) { Map(m, u"\\??\\C:\\pkg\\driver"); },
       u"N:\\vorn_audio.inf", "000004B0"},
      {"an optical disk", [](Machine& m) { Map(m, u"\\Device\\CdRom0"); }, u"N:\\vorn_audio.inf",
       "000004B0"},
      {"a disk without a number", [](Machine& m) { Map(m, u"\\Device\\HarddiskVolume"); },
       u"N:\\vorn_audio.inf", "000004B0"},
      {"a folder of a disk", [](Machine& m) { Map(m, u"\\Device\\HarddiskVolume3\\pkg"); },
       u"N:\\driver\\vorn_audio.inf", "000004B0"},
      {"a folder in the place of the INF",
       [](Machine& m) {
         RemovePath(m.files, kSampleInf);
         MakeFolder(m.files, kSampleInf);
       },
       kSampleInf, "00000005"},
      {"a file in the place of the folder", [](Machine&) {},
       u"C:\\pkg\\driver\\vorn_audio.cat\\vorn_audio.inf", "0000010B"},
      {"a symbolic link in the place of the INF",
       [](Machine& m) {
         Move(m, kSampleInf, u"C:\\elsewhere.inf");
         PutSymbolicLink(m, kSampleInf, u"\\??\\C:\\elsewhere.inf", false);
       },
       kSampleInf, "000003EE"},
      {"a junction in the place of the folder",
       [](Machine& m) {
         Move(m, kSampleFolder, u"C:\\elsewhere");
         PutLink(m.files, kSampleFolder, ReparseKind::Junction, u"\\??\\C:\\elsewhere", true);
       },
       kSampleInf, "00001129"},
      {"a symbolic link in the place of the folder",
       [](Machine& m) {
         Move(m, kSampleFolder, u"C:\\elsewhere");
         PutSymbolicLink(m, kSampleFolder, u"\\??\\C:\\elsewhere", true);
       },
       kSampleInf, "00001129"},
      {"a junction in the place of the folder above",
       [](Machine& m) {
         Move(m, u"C:\\pkg", u"C:\\elsewhere");
         PutLink(m.files, u"C:\\pkg", ReparseKind::Junction, u"\\??\\C:\\elsewhere", true);
       },
       kSampleInf, "00001129"},
      {"a second name of the INF",
       [](Machine& m) { AddHardLink(m.files, kSampleInf, u"C:\\second.inf"); }, kSampleInf,
       "000003EE"},
      {"an INF that somebody may be writing",
       [](Machine& m) {
         HoldOpen(m.files, kSampleInf, platform::FILE_WRITE_DATA,
                  platform::FILE_SHARE_READ | platform::FILE_SHARE_WRITE);
       },
       kSampleInf, "00000020"},
      {"an INF that somebody shares with nobody",
       [](Machine& m) { HoldOpen(m.files, kSampleInf, platform::FILE_READ_DATA, 0); }, kSampleInf,
       "00000020"},
  };
  for (const BadPlace& row : cases) {
    SCOPED_TRACE(row.name);
    Machine machine = InstalledMachine();
    row.shape(machine);
    ExpectSnapshotRefused(machine, row.inf, row.error);
  }
}

TEST(RefusedInfPath, CannotBeOpenedWithoutTheNativeFunctions) {
  const Machine machine = InstalledMachine();
  ExpectSnapshotRefused(machine, kSampleInf, "0000007F", {.ntdllMissing = true});
  for (const char* name : {"NtCreateFile", "RtlNtStatusToDosError"}) {
    SCOPED_TRACE(name);
    ExpectSnapshotRefused(machine, kSampleInf, "0000007F", {.missingExports = {name}});
  }
}

// ------------------------------------------------------------------------------------------------
// The temporary folder receives the copy, so the same rules apply to it.

TEST(RefusedTemporaryFolder, IsNotAPlainFolderOnALocalDisk) {
  const BadPlace cases[] = {
      {"no such folder", [](Machine& m) { m.files.tempFolder = u"C:\\missing\\"; }, kSampleInf,
       "00000002"},
      {"a network share", [](Machine& m) { m.files.tempFolder = u"\\\\server\\share\\"; },
       kSampleInf, "0000007B"},
      {"a network drive",
       [](Machine& m) {
         Map(m, u"\\Device\\Mup\\server\\share");
         m.files.tempFolder = u"N:\\";
       },
       kSampleInf, "000004B0"},
      {"a junction",
       [](Machine& m) {
         MakeFolder(m.files, u"C:\\elsewhere");
         PutLink(m.files, u"C:\\linked", ReparseKind::Junction, u"\\??\\C:\\elsewhere", true);
         m.files.tempFolder = u"C:\\linked\\";
       },
       kSampleInf, "00001129"},
      {"behind a junction",
       [](Machine& m) {
         MakeFolder(m.files, u"C:\\elsewhere\\Temp");
         PutLink(m.files, u"C:\\linked", ReparseKind::Junction, u"\\??\\C:\\elsewhere", true);
         m.files.tempFolder = u"C:\\linked\\Temp\\";
       },
       kSampleInf, "00001129"},
      {"a file", [](Machine& m) { m.files.tempFolder = u"C:\\pkg\\driver\\vorn_audio.cat\\"; },
       kSampleInf, "0000010B"},
      {"the package's own folder", [](Machine& m) { m.files.tempFolder = u"C:\\pkg\\driver\\"; },
       kSampleInf, "00000020"},
  };
  for (const BadPlace& row : cases) {
    SCOPED_TRACE(row.name);
    Machine machine = InstalledMachine();
    row.shape(machine);
    ExpectSnapshotRefused(machine, row.inf, row.error);
  }
}

// ------------------------------------------------------------------------------------------------
// It does not matter who owns a package or may write to it: only its protected copy is judged and
// used.

TEST(WeaklyProtectedPackage, IsAcceptedBecauseItsCopyIsProtected) {
  struct Case {
    const char* name;
    const char16_t* path;
    const char16_t* sddl;
  };
  const char16_t* const others =
      u"O:S-1-5-21-1000000000-2000000000-3000000000-1002D:(A;OICI;FA;;;WD)";
  const Case cases[] = {
      {"an INF of another user that everybody may write", kSampleInf, others},
      {"a folder of another user that everybody may write", kSampleFolder, others},
      {"a folder above of another user that everybody may write", u"C:\\pkg", others},
      {"an INF without an access list", kSampleInf, u"O:BU"},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(row.name);
    Machine machine = CleanMachine();
    NodeAt(machine.files, row.path).security = ParseSddl(row.sddl).value();
    const Machine before = machine;
    const RunResult install = RunCommand(machine, {u"install", kSampleInf, u"C:\\state"});
    ExpectRun(install, kExitOk,
              {Out("vorn_devnode: persisted protected pre-bind activation state"),
               Out("vorn_devnode: Root\\VornAudio installed"), ProvenLine(machine)});
    ExpectRun(RunCommand(machine, {u"audit-current", kSampleInf}), kExitOk, {ProvenLine(machine)});
    const RunResult remove = RunCommand(machine, {u"remove", kSampleInf});
    EXPECT_EQ(remove.status, kExitOk);
    EXPECT_EQ(ConsoleOf(remove).back(),
              Out("vorn_devnode: RESULT=OK - removed 1 Root\\VornAudio device(s), 1 exact driver "
                  "package(s) and 20 VORN endpoint record(s) (0 retained); zero installed roots "
                  "and exact packages verified"));
    EXPECT_TRUE(remove.openObjects.empty());
    tests::ExpectTidy(before, machine);
  }
}

}  // namespace
}  // namespace vorn

#include "cli/dispatch.h"

#include "base/text.h"
#include "platform/simulated/process.h"
#include "tests/support/activation.h"
#include "tests/support/console_lines.h"
#include "tests/support/judged_run.h"
#include "tests/support/machine_view.h"
#include "tests/support/run_command.h"

#include <gtest/gtest.h>

namespace vorn {
namespace {

using platform::simulated::CleanMachine;
using platform::simulated::DisabledMachine;
using platform::simulated::Fault;
using platform::simulated::InstalledMachine;
using platform::simulated::Machine;
using platform::simulated::Process;
using tests::Console;
using tests::ConsoleOf;
using tests::Err;
using tests::ExpectRun;
using tests::FailingCall;
using tests::kSampleInf;
using tests::kSampleJournal;
using tests::Out;
using tests::RunCommand;
using tests::RunResult;
using tests::UpdateTarget;

using Arguments = std::vector<std::u16string>;

const Console kUsage = {
    Out("Usage:"),
    Out("  vorn_devnode.exe install <path-to-vorn_audio.inf> [state-path [--rollback]]"),
    Out("  vorn_devnode.exe verify <expected-version> <expected-date> [state-path]"),
    Out("  vorn_devnode.exe hot-activate <expected-version> <expected-date> [state-path]"),
    Out("  vorn_devnode.exe audit-current <path-to-exact-INF>"),
    Out("  vorn_devnode.exe audit-catalog"),
    Out("  vorn_devnode.exe resume-endpoints"),
    Out("  vorn_devnode.exe remove <path-to-exact-INF>"),
};

const Console kCatalogAudited = {
    Out("vorn_devnode: catalog audit OK - catalog=20, active=20, started-present=20")};

std::string Joined(const Arguments& arguments) {
  std::string text = "vorn_devnode.exe";
  for (const std::u16string& argument : arguments)
    text += " [" + ToUtf8(argument) + "]";
  return text;
}

/// The run was a fresh install of the sample package and proved it.
void ExpectInstalled(const RunResult& run, Machine& machine) {
  ExpectRun(run, kExitOk,
            {Out("vorn_devnode: persisted protected pre-bind activation state"),
             Out("vorn_devnode: Root\\VornAudio installed"), tests::ProvenLine(machine)});
}

/// The first INF that the run read is that of a private snapshot.
void ExpectSnapshotRead(const RunResult& run) {
  const auto reads = run.CallsOf("SetupOpenInfFileW");
  ASSERT_FALSE(reads.empty());
  EXPECT_NE(reads[0].Argument("FileName").find("\\VORN-input-"), std::string::npos)
      << reads[0].Argument("FileName");
}

TEST(Dispatch, PrintsTheUsageWhenNoCommandFits) {
  const Arguments commandLines[] = {
      {},
      {u""},
      {u"help"},
      {u"install"},
      {u"instal", kSampleInf},
      {u"remove"},
      {u"remove", kSampleInf, kSampleInf},
      {u"REMOVE", kSampleInf, u"x", u"y"},
      {u"verify"},
      {u"verify", u"26.8.10.5"},
      {u"hot-activate"},
      {u"hot-activate", u"26.8.10.5"},
      {u"audit-current"},
      {u"audit"},
      {u"audit-catalog "},
      {u"--rollback"},
      {u"--audit-catalog"},
      {u"/audit-catalog"},
      {u" audit-catalog"},
      {u"audit-catalog now"},
  };
  for (const Arguments& arguments : commandLines) {
    SCOPED_TRACE(Joined(arguments));
    Machine machine = InstalledMachine();
    const RunResult run = RunCommand(machine, arguments);
    ExpectRun(run, kExitUsage, kUsage);
    EXPECT_EQ(run.callCount, 2 * kUsage.size());  // nothing but the eight lines, each flushed
  }
}

TEST(Dispatch, PrintsTheUsageWhenEvenTheProgramsNameIsMissing) {
  Machine machine = CleanMachine();
  Process process(machine);
  EXPECT_EQ(cli::Run({}), kExitUsage);
  EXPECT_EQ(process.console.size(), kUsage.size());
  EXPECT_EQ(process.ErrorOutput(), u"");
}

TEST(Dispatch, AcceptsCommandWordsInAnyCase) {
  const Arguments commandLines[] = {
      {u"install", kSampleInf, kSampleJournal},
      {u"remove", kSampleInf},
      {u"verify", u"26.8.10.5", u"08/10/2026", kSampleJournal},
      {u"hot-activate", u"26.8.10.5", u"08/10/2026", kSampleJournal},
      {u"audit-current", kSampleInf},
      {u"audit-catalog"},
      {u"resume-endpoints"},
  };
  for (const Arguments& arguments : commandLines) {
    Machine start = InstalledMachine();
    tests::PutJournal(start, UpdateTarget(start));
    Machine expectedMachine = start;
    const RunResult expected = RunCommand(expectedMachine, arguments);
    EXPECT_EQ(expected.status, kExitOk);

    Arguments upper = arguments;
    upper[0] = ToUpperAscii(arguments[0]);
    Arguments mixed = arguments;
    mixed[0][1] = ToUpperAscii(arguments[0])[1];
    for (const Arguments& variant : {upper, mixed}) {
      SCOPED_TRACE(Joined(variant));
      Machine machine = start;
      ExpectRun(RunCommand(machine, variant), expected.status, ConsoleOf(expected));
    }
  }
}

TEST(Dispatch, DoesNotFoldLettersOutsideAscii) {
  Machine machine = InstalledMachine();
  // U+0130 is a capital I with a dot, which some locales fold to the i of the word.
  ExpectRun(RunCommand(machine, {u"aud\u0130t-catalog"}), kExitUsage, kUsage);
}

TEST(Dispatch, IgnoresFurtherWordsAfterCommandsWithoutArguments) {
  Machine machine = InstalledMachine();
  ExpectRun(RunCommand(machine, {u"audit-catalog", u"and", u"more"}), kExitOk, kCatalogAudited);
  ExpectRun(RunCommand(machine, {u"resume-endpoints", u"remove", kSampleInf}), kExitOk,
            {Out("vorn_devnode: resume-endpoints: 20 shown, 0 failed")});
}

TEST(Dispatch, IgnoresFurtherWordsAfterTheInfOfTheCurrentAudit) {
  Machine machine = InstalledMachine();
  const RunResult run = RunCommand(machine, {u"audit-current", kSampleInf, u"x", u"y"});
  ExpectRun(run, kExitOk, {tests::ProvenLine(machine)});
}

// ------------------------------------------------------------------------------------------------
// Paths of install.

TEST(DispatchInstall, RefusesAnInfPathThatIsNotAbsoluteInSilence) {
  const std::u16string paths[] = {
      u"",
      u"relative\\vorn_audio.inf",
      u"vorn_audio.inf",
      u"C:vorn_audio.inf",
      u"C:/pkg/driver/vorn_audio.inf",
      u"C:\\pkg/driver\\vorn_audio.inf",
      u"\\\\server\\share\\vorn_audio.inf",
      u"\\\\?\\C:\\pkg\\driver\\vorn_audio.inf",
      u"1:\\pkg\\driver\\vorn_audio.inf",
      u"C:\\pkg\\driver\\",
      u"C:\\pkg\\\\vorn_audio.inf",
      u"C:\\pkg\\..\\driver\\vorn_audio.inf",
      u"C:\\pkg\\nul\\vorn_audio.inf",
      u"C:\\pkg\\driver\\vorn_audio.inf:stream",
      u"C:\\" + std::u16string(256, u'a') + u"\\vorn_audio.inf",
  };
  for (const std::u16string& path : paths) {
    SCOPED_TRACE(ToUtf8(path));
    Machine machine = CleanMachine();
    const RunResult run = RunCommand(machine, {u"install", path, kSampleJournal});
    ExpectRun(run, kExitInputRefused, {});
    EXPECT_EQ(run.callCount, 0U);
  }
}

TEST(DispatchInstall, ChecksTheInfPathBeforeItDerivesAStatePath) {
  Machine machine = CleanMachine();
  EXPECT_EQ(RunCommand(machine, {u"install", u"relative\\vorn_audio.inf"}).callCount, 0U);
}

TEST(DispatchInstall, RefusesAStatePathThatIsNotAbsoluteBeforeAnySnapshot) {
  for (const char16_t* const path : {u"", u"state", u"C:state", u"C:\\a\\", u"\\\\s\\h\\state"}) {
    SCOPED_TRACE(ToUtf8(path));
    Machine machine = CleanMachine();
    const RunResult run = RunCommand(machine, {u"install", kSampleInf, path});
    ExpectRun(run, kExitInputRefused, {});
    EXPECT_FALSE(run.Called("NtCreateFile"));
  }
}

TEST(DispatchInstall, HasNoDefaultStatePathForAnInfInADriveRoot) {
  Machine machine = CleanMachine();
  platform::simulated::WritePackage(machine.files, u"C:\\", {});
  const RunResult run = RunCommand(machine, {u"install", u"C:\\vorn_audio.inf"});
  ExpectRun(run, kExitInputRefused, {});
  EXPECT_FALSE(run.Called("NtCreateFile"));
}

TEST(DispatchInstall, PutsTheStateOfAnInfOneFolderDeepIntoTheDriveRoot) {
  Machine machine = CleanMachine();
  platform::simulated::WritePackage(machine.files, u"C:\\driver", {});
  ExpectInstalled(RunCommand(machine, {u"install", u"C:\\driver\\vorn_audio.inf"}), machine);
  EXPECT_TRUE(tests::JournalIn(machine, u"C:\\.vorn-driver-activation-state").has_value());
}

TEST(DispatchInstall, DerivesTheDefaultStatePathFromTheInfAsTyped) {
  Machine machine = CleanMachine();
  ExpectInstalled(RunCommand(machine, {u"install", u"c:\\PKG\\Driver\\VORN_AUDIO.INF"}), machine);
  EXPECT_TRUE(tests::JournalIn(machine, kSampleJournal).has_value());
}

TEST(DispatchInstall, IsRefusedWhenTheInfPathCannotBeMadeAbsolute) {
  for (const std::uint32_t nth : {1U, 2U}) {  // the call for the length, and the one for the path
    Machine machine = CleanMachine();
    const RunResult run = RunCommand(machine, {u"install", kSampleInf},
                                     {.faults = {FailingCall("GetFullPathNameW", 31, nth)}});
    ExpectRun(run, kExitInputRefused, {});
    EXPECT_FALSE(run.Called("NtCreateFile"));
  }
}

TEST(DispatchInstall, AsksForThePathOnlyWhenNoStatePathIsGiven) {
  Machine machine = CleanMachine();
  EXPECT_FALSE(
      RunCommand(machine, {u"install", kSampleInf, u"C:\\state"}).Called("GetFullPathNameW"));
  EXPECT_TRUE(tests::JournalIn(machine, u"C:\\state").has_value());
}

TEST(DispatchInstall, UsesTheGivenStatePathWhateverFollowsIt) {
  for (const char16_t* const word : {u"--rollback", u"other"}) {
    Machine machine = CleanMachine();
    const RunResult run = RunCommand(machine, {u"install", kSampleInf, u"C:\\state", word, u"x"});
    EXPECT_FALSE(run.Called("GetFullPathNameW")) << ToUtf8(word);
    EXPECT_TRUE(tests::JournalIn(machine, u"C:\\state").has_value()) << ToUtf8(word);
  }
}

TEST(DispatchInstall, EndsWhenTheSnapshotIsRefused) {
  Machine machine = CleanMachine();
  ExpectRun(RunCommand(machine, {u"install", u"C:\\pkg\\driver\\other.inf"}), kExitInputRefused,
            {Err("vorn_devnode: protected local package snapshot refused (error 0x00000002)")});
}

TEST(DispatchInstall, AcceptsRollbackInItsExactSpellingOnly) {
  const Console disabled = {
      Err("vorn_devnode: RESULT=BIND_REFUSED - the VORN device is disabled; enable it in Device "
          "Manager before updating its driver")};
  for (const char16_t* const word :
       {u"notrollback", u"--ROLLBACK", u"-rollback", u"", u"--rollback "}) {
    SCOPED_TRACE(ToUtf8(word));
    Machine machine = DisabledMachine();
    ExpectRun(RunCommand(machine, {u"install", kSampleInf, u"C:\\state", word, u"--rollback"}),
              kExitBindRefused, disabled);
  }
  Machine machine = DisabledMachine();
  const RunResult run =
      RunCommand(machine, {u"install", kSampleInf, u"C:\\state", u"--rollback", u"x"});
  EXPECT_TRUE(run.Called("UpdateDriverForPlugAndPlayDevicesW"));
}

// ------------------------------------------------------------------------------------------------
// The inputs of the other commands.

TEST(DispatchVerify, UsesTheStatePathAboveTheProgramsFolderByDefault) {
  for (const char16_t* const command : {u"verify", u"hot-activate"}) {
    SCOPED_TRACE(ToUtf8(command));
    Machine machine = InstalledMachine();
    tests::PutJournal(machine, UpdateTarget(machine),
                      u"C:\\Program Files\\VORN\\.vorn-driver-activation-state");
    EXPECT_EQ(RunCommand(machine, {command, u"26.8.10.5", u"08/10/2026"}).status, kExitOk);
  }
}

TEST(DispatchVerify, DoesNotAskForTheProgramsPathWhenAStatePathIsGiven) {
  Machine machine = InstalledMachine();
  const RunResult run =
      RunCommand(machine, {u"verify", u"26.8.10.5", u"08/10/2026", kSampleJournal, u"ignored"});
  EXPECT_EQ(run.status, kExitEndpointsMissing);
  EXPECT_FALSE(run.Called("GetModuleFileNameW"));
}

TEST(DispatchVerify, UsesTheGivenStatePathWhateverFollowsIt) {
  for (const char16_t* const command : {u"verify", u"hot-activate"}) {
    SCOPED_TRACE(ToUtf8(command));
    Machine machine = InstalledMachine();
    tests::PutJournal(machine, UpdateTarget(machine));
    const RunResult run = RunCommand(machine, {command, u"26.8.10.5", u"08/10/2026", kSampleJournal,
                                               u"C:\\other", u"--rollback"});
    EXPECT_EQ(run.status, kExitOk);
  }
}

TEST(DispatchVerify, LeavesAnUnusableStatePathToTheCommand) {
  for (const char16_t* const path : {u"", u"state", u"C:state", u"\\\\server\\share\\state"}) {
    SCOPED_TRACE(ToUtf8(path));
    Machine machine = InstalledMachine();
    tests::PutJournal(machine, UpdateTarget(machine),
                      u"C:\\Program Files\\VORN\\.vorn-driver-activation-state");
    const RunResult run = RunCommand(machine, {u"verify", u"26.8.10.5", u"08/10/2026", path});
    ExpectRun(run, kExitEndpointsMissing,
              {Err("vorn_devnode: activation state missing or unsafe"),
               Err("vorn_devnode: RESULT=ENDPOINTS_MISSING - protected activation state is missing "
                   "or malformed")});
  }
}

TEST(DispatchVerify, HasNoDefaultWhenTheProgramsFolderHasNoParent) {
  const Console missing = {
      Err("vorn_devnode: activation state missing or unsafe"),
      Err("vorn_devnode: RESULT=ENDPOINTS_MISSING - protected activation state is missing or "
          "malformed")};
  const std::u16string programs[] = {
      u"C:\\vorn_devnode.exe", u"vorn_devnode.exe",
      u"C:\\a\\" + std::u16string(32768, u'b') + u"\\vorn_devnode.exe",  // too long for the buffer
  };
  for (const std::u16string& program : programs) {
    SCOPED_TRACE(ToUtf8(program.substr(0, 40)));
    Machine machine = InstalledMachine();
    const auto state = UpdateTarget(machine);
    tests::PutJournal(machine, state, u"C:\\.vorn-driver-activation-state");
    platform::simulated::MakeFolder(machine.files, u"C:\\a");
    tests::PutJournal(machine, state, u"C:\\a\\.vorn-driver-activation-state");
    machine.files.modulePath = program;
    ExpectRun(RunCommand(machine, {u"verify", u"26.8.10.5", u"08/10/2026"}), kExitEndpointsMissing,
              missing);
  }
}

TEST(DispatchVerify, HasNoDefaultWhenTheProgramsPathCannotBeRead) {
  Machine machine = InstalledMachine();
  const RunResult run = RunCommand(machine, {u"hot-activate", u"26.8.10.5", u"08/10/2026"},
                                   {.faults = {FailingCall("GetModuleFileNameW", 31)}});
  ExpectRun(
      run, kExitHotSwapFailed,
      {Err("vorn_devnode: activation state missing or unsafe"),
       Err("vorn_devnode: RESULT=HOT_SWAP_FAILED - protected activation identity is missing or "
           "mismatched")});
}

TEST(DispatchVerify, AsksForTheProgramsPathWithTheWholeBuffer) {
  Machine machine = InstalledMachine();
  const RunResult run = RunCommand(machine, {u"verify", u"1", u"2"});
  ASSERT_EQ(run.CallsOf("GetModuleFileNameW").size(), 1U);
  EXPECT_EQ(run.CallsOf("GetModuleFileNameW")[0].Argument("nSize"), "32768");
}

TEST(DispatchVerify, AcceptsAProgramsPathThatJustFitsTheBuffer) {
  struct Case {
    std::size_t length;
    ExitStatus status;
  };
  for (const Case& row : {Case{32767, kExitOk}, Case{32768, kExitEndpointsMissing}}) {
    SCOPED_TRACE(row.length);
    Machine machine = InstalledMachine();
    platform::simulated::MakeFolder(machine.files, u"C:\\a");
    tests::PutJournal(machine, UpdateTarget(machine), u"C:\\a\\.vorn-driver-activation-state");
    machine.files.modulePath = u"C:\\a\\bin\\";
    machine.files.modulePath.resize(row.length, u'p');
    EXPECT_EQ(RunCommand(machine, {u"verify", u"26.8.10.5", u"08/10/2026"}).status, row.status);
  }
}

TEST(DispatchRemove, LogsBesideTheFolderOfTheInfAsTyped) {
  Machine machine = InstalledMachine();
  const auto logs =
      RunCommand(machine, {u"remove", u"c:\\PKG\\Driver\\vorn_audio.inf"}).CallsOf("_wfsopen");
  ASSERT_FALSE(logs.empty());
  const std::string log = logs[0].Argument("filename");
  EXPECT_TRUE(log.ends_with("\\PKG\\logs\\vorn_devnode.log")) << log;
}

TEST(DispatchRemove, ReadsTheSnapshotsCopyOfTheInf) {
  Machine machine = InstalledMachine();
  ExpectSnapshotRead(RunCommand(machine, {u"remove", kSampleInf}));
}

TEST(DispatchAuditCurrent, ReadsTheSnapshotsCopyOfTheInf) {
  Machine machine = InstalledMachine();
  ExpectSnapshotRead(RunCommand(machine, {u"audit-current", kSampleInf}));
}

TEST(DispatchRemove, HasItsOwnStatusForARefusedSnapshot) {
  const Console refused = {
      Err("vorn_devnode: protected local package snapshot refused (error 0x0000007B)")};
  Machine machine = InstalledMachine();
  ExpectRun(RunCommand(machine, {u"remove", u"vorn_audio.inf"}), kExitRemoveRefused, refused);
  ExpectRun(RunCommand(machine, {u"audit-current", u"vorn_audio.inf"}), kExitInputRefused, refused);
}

// ------------------------------------------------------------------------------------------------
// The end of the process.

TEST(Dispatch, LeavesNothingOpenAndNoSnapshotBehind) {
  const Arguments commandLines[] = {
      {u"install", kSampleInf},
      {u"audit-current", kSampleInf},
      {u"verify", u"26.8.10.5", u"08/10/2026", kSampleJournal},
      {u"hot-activate", u"26.8.10.5", u"08/10/2026", kSampleJournal},
      {u"audit-catalog"},
      {u"resume-endpoints"},
      {u"remove", kSampleInf},
  };
  Machine machine = CleanMachine();
  const Machine before = machine;
  for (const Arguments& arguments : commandLines) {
    SCOPED_TRACE(Joined(arguments));
    const RunResult run = RunCommand(machine, arguments);
    EXPECT_EQ(run.status, kExitOk);
    EXPECT_TRUE(run.openObjects.empty());
    tests::ExpectTidy(before, machine);
  }
}

TEST(Dispatch, KeepsTheSnapshotUntilTheCommandIsOver) {
  Machine machine = CleanMachine();
  const RunResult run = RunCommand(machine, {u"install", kSampleInf});
  const auto binds = run.CallsOf("UpdateDriverForPlugAndPlayDevicesW");
  ASSERT_EQ(binds.size(), 1U);
  const std::string bound = binds[0].Argument("FullInfPath");
  EXPECT_NE(bound.find("\\VORN-input-"), std::string::npos) << bound;
  EXPECT_TRUE(bound.ends_with("\\vorn_audio.inf")) << bound;
  EXPECT_TRUE(tests::SnapshotFolders(machine).empty());
}

TEST(Dispatch, StartsEachRunWithoutTheStateOfThePreviousOne) {
  Machine first = CleanMachine();
  EXPECT_EQ(RunCommand(first, {u"install", kSampleInf}).status, kExitOk);
  // Another machine has no journal at that path, and nothing may be remembered.
  Machine second = CleanMachine();
  ExpectRun(
      RunCommand(second, {u"verify", u"26.8.10.5", u"08/10/2026", kSampleJournal}),
      kExitEndpointsMissing,
      {Err("vorn_devnode: activation state missing or unsafe"),
       Err("vorn_devnode: RESULT=ENDPOINTS_MISSING - protected activation state is missing or "
           "malformed")});
}

TEST(Dispatch, EndsWithTheSameStatusWhenNothingCanBeWritten) {
  const Fault unwritable = tests::AlwaysFailingCall("fputws", 112);
  Machine healthy = CleanMachine();
  EXPECT_EQ(RunCommand(healthy, {u"install", kSampleInf}, {.faults = {unwritable}}).status,
            kExitOk);
  Machine disabled = DisabledMachine();
  EXPECT_EQ(RunCommand(disabled, {u"install", kSampleInf}, {.faults = {unwritable}}).status,
            kExitBindRefused);
  EXPECT_EQ(RunCommand(disabled, {u"help"}, {.faults = {unwritable}}).status, kExitUsage);
}

TEST(Dispatch, RunsACommandToItsEndWithAClosedStandardOutput) {
  Machine machine = CleanMachine();
  const RunResult run =
      RunCommand(machine, {u"install", kSampleInf}, {.standardOutputClosed = true});
  EXPECT_EQ(run.status, kExitOk);
  EXPECT_EQ(run.output, u"");
  EXPECT_EQ(tests::VisibleEndpoints(machine), 20U);
}

}  // namespace
}  // namespace vorn

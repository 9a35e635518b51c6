// The command line of vorn_capture.exe, and the folder that it writes.

#include "base/text.h"
#include "capture/command.h"
#include "lab/capture_import.h"
#include "lab/run_program.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/process.h"
#include "tests/capture/captured_machines.h"

#include <gtest/gtest.h>

namespace vorn::lab {
namespace {

using platform::simulated::InstalledMachine;
using platform::simulated::ListFolder;
using platform::simulated::Machine;
using platform::simulated::Process;
using platform::simulated::ReadWholeFile;

struct CommandRun {
  std::int32_t status = 0;
  std::u16string output;
  std::u16string errorOutput;
};

CommandRun RunCaptureProgram(Machine& machine, std::vector<std::u16string> words) {
  words.insert(words.begin(), u"vorn_capture.exe");
  Process process(machine);
  CommandRun run;
  run.status = capture::RunCommand(words);
  run.output = process.Output();
  run.errorOutput = process.ErrorOutput();
  EXPECT_TRUE(process.OpenObjects().empty());
  return run;
}

TEST(CaptureCommand, WritesTheCaptureIntoANewFolder) {
  Machine machine = InstalledMachine();
  const CommandRun run = RunCaptureProgram(
      machine, {u"C:\\captured", u"--inf", u"C:\\pkg\\driver\\vorn_audio.inf", u"--raw"});
  EXPECT_EQ(run.status, capture::kExitCaptured);
  CaptureFiles files;
  const Bytes document = ReadWholeFile(machine.files, u"C:\\captured\\machine.json").value();
  files.document.assign(document.begin(), document.end());
  for (std::size_t i = 0; i < ListFolder(machine.files, u"C:\\captured\\files").size(); ++i) {
    files.contents.push_back(
        ReadWholeFile(machine.files, u"C:\\captured\\files\\" + ToUtf16(std::to_string(i)))
            .value());
  }
  LabMachine imported = ImportCapture(files).lab;
  const LabResult result =
      RunProgram(imported, {"audit-current", "C:\\pkg\\driver\\vorn_audio.inf"}, {}, false).result;
  EXPECT_EQ(result.status, 0) << result.ErrorOutput();
}

TEST(CaptureCommand, KeepsTheNamesOfUsersOnlyWhereItIsTold) {
  const auto names = [](std::vector<std::u16string> words) {
    Machine machine = InstalledMachine();
    EXPECT_EQ(RunCaptureProgram(machine, std::move(words)).status, capture::kExitCaptured);
    const Bytes document = ReadWholeFile(machine.files, u"C:\\captured\\machine.json").value();
    const std::string text(document.begin(), document.end());
    return text.find("operator") != std::string::npos;
  };
  EXPECT_FALSE(names({u"C:\\captured"}));
  EXPECT_TRUE(names({u"C:\\captured", u"--raw"}));
}

TEST(CaptureCommand, AddsNothingToTheMachineButTheFolder) {
  Machine machine = InstalledMachine();
  const Machine before = machine;
  RunCaptureProgram(machine, {u"C:\\captured"});
  RemovePath(machine.files, u"C:\\captured");
  machine.files.volumes[0].freeBytes = before.files.volumes[0].freeBytes;
  EXPECT_TRUE(machine.files == before.files);
  EXPECT_TRUE(machine.registry == before.registry);
  EXPECT_TRUE(machine.devices == before.devices);
}

TEST(CaptureCommand, RefusesAFolderThatExists) {
  Machine machine = InstalledMachine();
  MakeFolder(machine.files, u"C:\\captured");
  const CommandRun run = RunCaptureProgram(machine, {u"C:\\captured"});
  EXPECT_EQ(run.status, capture::kExitNotWritten);
  EXPECT_EQ(run.errorOutput, u"vorn_capture: C:\\captured cannot be created (error 0x000000B7)\n");
}

TEST(CaptureCommand, RefusesTheRootOfADrive) {
  Machine machine = InstalledMachine();
  const CommandRun run = RunCaptureProgram(machine, {u"C:\\"});
  EXPECT_EQ(run.status, capture::kExitNotWritten);
  EXPECT_EQ(run.errorOutput, u"vorn_capture: C:\\ cannot be created (error 0x0000007B)\n");
}

TEST(CaptureCommand, WritesThroughNoLink) {
  Machine machine = InstalledMachine();
  MakeFolder(machine.files, u"C:\\protected");
  PutLink(machine.files, u"C:\\inviting", platform::simulated::ReparseKind::Junction,
          u"C:\\protected", true);
  const CommandRun run = RunCaptureProgram(machine, {u"C:\\inviting\\captured"});
  EXPECT_EQ(run.status, capture::kExitNotWritten);
  EXPECT_TRUE(ListFolder(machine.files, u"C:\\protected").empty());
}

TEST(CaptureCommand, SaysWhenTheDiskIsFull) {
  Machine machine = InstalledMachine();
  machine.files.volumes[0].freeBytes = 20000;
  const CommandRun run = RunCaptureProgram(machine, {u"C:\\captured"});
  EXPECT_EQ(run.status, capture::kExitNotWritten);
  EXPECT_EQ(run.errorOutput, u"vorn_capture: C:\\captured is incomplete (error 0x00000070)\n");
}

TEST(CaptureCommand, NamesWhatCouldNotBeRead) {
  Machine machine = InstalledMachine();
  machine.serviceManagerError = 5;
  const CommandRun run = RunCaptureProgram(machine, {u"C:\\captured"});
  EXPECT_EQ(run.status, capture::kExitCaptured);
  EXPECT_EQ(run.errorOutput,
            u"vorn_capture: not read: services, OpenSCManagerW (error 0x00000005)\n");
}

TEST(CaptureCommand, NamesAnInfThatIsNotThere) {
  for (const std::u16string inf :
       {u"vorn_audio.inf", u"C:\\none\\vorn_audio.inf", u"C:\\pkg\\driver\\none.inf"}) {
    Machine machine = InstalledMachine();
    const CommandRun run = RunCaptureProgram(machine, {u"C:\\captured", u"--inf", inf});
    EXPECT_EQ(run.status, capture::kExitCaptured);
    EXPECT_EQ(run.errorOutput, u"vorn_capture: not read: " + inf + u", path (error 0x00000002)\n");
  }
}

TEST(CaptureCommand, PrintsItsUsageForAnythingElse) {
  const std::vector<std::u16string> lines[] = {
      {},
      {u"--raw"},
      {u"C:\\captured", u"--inf"},
      {u"C:\\captured", u"--unknown"},
      {u"C:\\captured", u"more"},
  };
  for (const std::vector<std::u16string>& words : lines) {
    Machine machine = InstalledMachine();
    const CommandRun run = RunCaptureProgram(machine, words);
    EXPECT_EQ(run.status, capture::kExitUsage);
    EXPECT_NE(run.output.find(u"It changes nothing else on the machine"), std::u16string::npos);
    EXPECT_FALSE(FindNode(machine.files, u"C:\\captured").has_value());
  }
}

}  // namespace
}  // namespace vorn::lab

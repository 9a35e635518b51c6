// The command record: what it keeps of a run.

#include "base/text.h"
#include "lab/command_line.h"
#include "rehearsal/recording.h"
#include "tests/lab/temporary_folder.h"
#include "tests/support/sample.h"

#include <gtest/gtest.h>

namespace vorn::lab {
namespace {

using rehearsal::RecordedPiece;
using rehearsal::Recording;
using Words = std::vector<std::string>;

const std::string kRecordedInf = ToUtf8(tests::kSampleInf);

class RecordedRun : public testing::Test {
 protected:
  explicit RecordedRun(const std::string& preset = "clean") {
    RunLab({"new", machine_, "--preset", preset});
  }

  LabResult Run(Words options) {
    options.insert(options.begin(), {"record", machine_, file_});
    return RunLab(options);
  }

  Recording Recorded() const { return rehearsal::ParseRecording(ReadHostFile(file_)); }

  TemporaryFolder temporary_;
  const std::string machine_ = temporary_.Name("m");
  const std::string file_ = temporary_.Name("run");
};

class RecordedRunOnAnInstalledMachine : public RecordedRun {
 protected:
  RecordedRunOnAnInstalledMachine() : RecordedRun("installed") {}
};

/// What a recording has of one stream.
std::string Stream(const Recording& recording, bool error) {
  std::string text;
  for (const RecordedPiece& piece : recording.pieces)
    if (piece.error == error) text += piece.text;
  return text;
}

TEST_F(RecordedRun, HasWhatTheRunPrintedAndItsStatus) {
  const LabResult result = Run({"install", kRecordedInf});
  const Recording recording = Recorded();
  EXPECT_EQ(recording.arguments, (Words{"install", kRecordedInf}));
  EXPECT_EQ(recording.status, 0);
  EXPECT_EQ(Stream(recording, false), result.Output());
  EXPECT_EQ(Stream(recording, true), result.ErrorOutput());
  EXPECT_NE(result.Output().find("RESULT=OK"), std::string::npos);
}

TEST_F(RecordedRun, LeavesTheMachineAsTheRunDoes) {
  const std::string other = temporary_.Name("other");
  RunLab({"new", other});
  Run({"install", kRecordedInf});
  RunLab({"run", other, "install", kRecordedInf});
  EXPECT_EQ(RunLab({"show", machine_}).Output(), RunLab({"show", other}).Output());
}

TEST_F(RecordedRunOnAnInstalledMachine, HasTheMachineTimeOfEachLine) {
  Run({"--fault", "CM_Query_And_Remove_SubTreeW#1-:fail=23", "remove", kRecordedInf});
  const Recording recording = Recorded();
  EXPECT_EQ(recording.status, 17);
  ASSERT_GE(recording.pieces.size(), 3U);
  EXPECT_EQ(recording.pieces.front().text,
            "vorn_devnode: quiesced all endpoints of ROOT\\MEDIA\\0000\n");
  EXPECT_LT(recording.pieces.front().milliseconds, 1000U);
  // The device is tried for 10 s.
  EXPECT_GE(recording.pieces.back().milliseconds, 10'000U);
  EXPECT_GE(recording.milliseconds, recording.pieces.back().milliseconds);
}

TEST_F(RecordedRunOnAnInstalledMachine, HasTheStreamsInTheirOrder) {
  RunLab({"package", machine_, "C:\\new\\driver", "--version", "26.9.1.1"});
  // The controller lease is refused, so that nothing is hidden before the bind.
  Run({"--fault", "DeviceIoControl#1-30:fail", "install", "C:\\new\\driver\\vorn_audio.inf"});
  std::string streams;
  for (const RecordedPiece& piece : Recorded().pieces)
    streams += piece.error ? 'e' : 'o';
  EXPECT_EQ(streams, "oeeoo");
}

TEST_F(RecordedRun, OfAKilledProcessHasNoStatus) {
  EXPECT_EQ(
      Run({"--fault", "UpdateDriverForPlugAndPlayDevicesW:kill", "install", kRecordedInf}).status,
      kExitKilled);
  EXPECT_EQ(Recorded().status, std::nullopt);
  EXPECT_EQ(Recorded().pieces.size(), 1U);
}

TEST_F(RecordedRun, OfACallThatHangsLastsUntilItsEnd) {
  Run({"--fault", "UpdateDriverForPlugAndPlayDevicesW:hang", "install", kRecordedInf});
  EXPECT_EQ(Recorded().status, std::nullopt);
  EXPECT_GE(Recorded().milliseconds, 3'600'000U);
}

TEST_F(RecordedRun, HasTheCommandLineAsTheProgramGotIt) {
  Run({"--", "--fault", "\xFF", "p\u00E4th"});
  EXPECT_EQ(Recorded().arguments, (Words{"--fault", "\uFFFD", "p\u00E4th"}));
  EXPECT_EQ(Recorded().status, 1);
}

TEST_F(RecordedRun, IsNotMadeWhenItsFileCannotBeWritten) {
  const std::string before = ReadHostFile(machine_ + "/machine.json");
  const std::string file = temporary_.Name("none/run");
  const LabResult result = RunLab({"record", machine_, file, "install", kRecordedInf});
  EXPECT_EQ(result.status, kExitBadInput);
  EXPECT_EQ(result.ErrorOutput(), "vorn_lab: " + file + ": cannot be written\n");
  EXPECT_EQ(ReadHostFile(machine_ + "/machine.json"), before);
}

TEST_F(RecordedRun, NeedsAFile) {
  EXPECT_EQ(RunLab({"record", machine_}).ErrorOutput(),
            "vorn_lab: record: needs a file to write to\n");
}

}  // namespace
}  // namespace vorn::lab

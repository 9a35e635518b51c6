// A machine, its capture, and the machine that is made of the capture: whatever the capture holds
// is the same, and every command does the same on both.

#include "lab/run_program.h"
#include "tests/capture/captured_machines.h"
#include "tests/support/sample.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace vorn::lab {

static void PrintTo(const CapturedCase& each, std::ostream* out) {
  *out << each.name;
}

namespace {

class RoundTrip : public testing::TestWithParam<CapturedCase> {};

std::string NameOf(const testing::TestParamInfo<CapturedCase>& info) {
  std::string name;
  bool upper = true;
  for (const char unit : info.param.name) {
    if (unit == ' ' || unit == '-' || unit == ',') {
      upper = true;
      continue;
    }
    name.push_back(upper ? static_cast<char>(std::toupper(unit)) : unit);
    upper = false;
  }
  return name;
}

/// The text and the status of a run.
std::string Transcript(LabMachine& lab, const std::vector<std::string>& command) {
  const ProgramRun run = RunProgram(lab, command, {}, false);
  std::string text;
  for (const ConsolePiece& piece : run.result.console)
    text += (piece.error ? "! " : "> ") + piece.text;
  return text + "status " + std::to_string(run.result.status) + "\n";
}

/// What a capture holds of a machine after a run: without the endpoints of other makers, which
/// nobody can count while the audio services are stopped.
std::string DocumentAfter(LabMachine lab) {
  lab.machine.clock = {};
  std::erase_if(lab.machine.audio.endpoints.Write(),
                [](const auto& endpoint) { return !endpoint.cable; });
  return CaptureOf(std::move(lab)).document;
}

TEST_P(RoundTrip, ACaptureOfTheImportedMachineIsTheSame) {
  const CaptureFiles first = CaptureOf(GetParam().make());
  const CaptureFiles second = CaptureOf(ImportCapture(first).lab);
  EXPECT_EQ(first.document, second.document);
  EXPECT_EQ(first.contents, second.contents);
}

/// What a capture cannot know: the two machines differ there, and must, or this can go.
struct Unknowable {
  std::string_view machine;
  std::string_view word;  // of the command
  std::string_view why;
};
constexpr Unknowable kUnknowable[] = {
    {"busy", "remove", "who would refuse a removal"},
    {"stale-journal", "--rollback", "the number of the next published INF"},
};

bool IsUnknowable(const std::string& machine, const std::vector<std::string>& command) {
  return std::any_of(std::begin(kUnknowable), std::end(kUnknowable), [&](const Unknowable& each) {
    return each.machine == machine &&
           std::find(command.begin(), command.end(), each.word) != command.end();
  });
}

TEST_P(RoundTrip, EveryCommandSaysAndDoesTheSameOnBoth) {
  const std::vector<std::vector<std::string>> commands = {
      {"install", "C:\\pkg\\driver\\vorn_audio.inf"},
      {"install", "C:\\pkg\\driver\\vorn_audio.inf", "C:\\pkg\\other-state", "--rollback"},
      {"verify", "26.8.10.5", "08/10/2026", "C:\\pkg\\.vorn-driver-activation-state"},
      {"hot-activate", "26.8.10.5", "08/10/2026", "C:\\pkg\\.vorn-driver-activation-state"},
      {"audit-current", "C:\\pkg\\driver\\vorn_audio.inf"},
      {"audit-catalog"},
      {"resume-endpoints"},
      {"remove", "C:\\pkg\\driver\\vorn_audio.inf"},
  };
  const LabMachine original = GetParam().make();
  const LabMachine imported = ImportCapture(CaptureOf(original)).lab;
  for (const std::vector<std::string>& command : commands) {
    LabMachine left = original;
    LabMachine right = imported;
    const std::string transcript = Transcript(left, command);
    if (IsUnknowable(GetParam().name, command)) {
      EXPECT_NE(transcript, Transcript(right, command)) << command[0];
      continue;
    }
    EXPECT_EQ(transcript, Transcript(right, command)) << command[0];
    EXPECT_EQ(DocumentAfter(left), DocumentAfter(right)) << "after " << command[0];
  }
}

INSTANTIATE_TEST_SUITE_P(Machines, RoundTrip, testing::ValuesIn(CapturedCases()), NameOf);

}  // namespace
}  // namespace vorn::lab

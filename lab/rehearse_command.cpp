#include "lab/rehearse_command.h"

#include "base/text.h"
#include "lab/bad_input.h"
#include "lab/capture_folder.h"
#include "lab/fault_spec.h"
#include "lab/json_text.h"
#include "lab/package_command.h"
#include "lab/run_program.h"

#include <fstream>
#include <iostream>

namespace vorn::lab {

namespace {

constexpr Operand kRehearseOperands[] = {
    {"LIST", "a file with the folder of a capture on each line, or - for standard input"}};
constexpr Option kRehearseOptions[] = {
    {"--package", "PATH", "first writes a driver package into that folder of each machine"},
    {"--version", "V", "its version, 26.8.10.5 by default"},
    {"--date", "D", "its date, 08/10/2026 by default"},
    {"--fault", "SPEC", "makes something go wrong in each run", true},
};

std::vector<std::string> ReadList(const std::string& name) {
  std::ifstream file;
  if (name != "-") {
    file.open(name);
    if (!file) throw BadInput(name, "cannot be read");
  }
  std::vector<std::string> captures;
  for (std::string line; std::getline(name == "-" ? std::cin : file, line);) {
    if (!line.empty()) captures.push_back(line);
  }
  return captures;
}

std::string LastLineOf(const LabResult& result) {
  std::string line = result.console.empty() ? std::string() : result.console.back().text;
  if (line.ends_with('\n')) line.pop_back();
  return line;
}

/// A name of the host may be anything; a JSON string may not.
std::string Valid(const std::string& text) {
  return ToUtf8(ToUtf16(text));
}

Json RunOn(const std::string& capture, const CommandWords& words,
           const std::vector<StagedFault>& faults) {
  LabMachine lab = ImportCapture(ReadCaptureFolder(capture)).lab;
  if (const std::string* const path = words.Last("--package")) {
    WritePackageFromOptions(lab, *path, words);
  }
  const ProgramRun run = RunProgram(lab, words.Tail(), faults, false);
  return Json{{"capture", Valid(capture)},
              {"status", run.result.status},
              {"line", LastLineOf(run.result)},
              {"milliseconds", run.milliseconds}};
}

}  // namespace

std::span<const Operand> RehearseOperands() {
  return kRehearseOperands;
}
std::span<const Option> RehearseOptions() {
  return kRehearseOptions;
}

LabResult Rehearse(const CommandWords& words) {
  std::vector<StagedFault> faults;
  for (const std::string& spec : words.All("--fault"))
    faults.push_back(ParseFault(spec));
  LabResult result;
  for (const std::string& capture : ReadList(words.OperandAt(0))) {
    Json line;
    try {
      line = RunOn(capture, words, faults);
    } catch (const std::exception& refused) {
      // One bad capture is a row of the table; the others are rehearsed all the same.
      line = Json{{"capture", Valid(capture)}, {"refused", Valid(refused.what())}};
    }
    result.console.push_back({false, ToLineText(line) + "\n"});
  }
  return result;
}

}  // namespace vorn::lab

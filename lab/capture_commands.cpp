#include "lab/capture_commands.h"

#include "base/text.h"
#include "lab/bad_input.h"
#include "lab/capture_folder.h"
#include "lab/json_text.h"
#include "lab/run_program.h"
#include "platform/simulated/process.h"

namespace vorn::lab {

namespace {

constexpr Operand kCaptureOperands[] = {{"DIR", "the folder of a machine"},
                                        {"CAPTURE", "a folder to write, which must not exist"}};
constexpr Option kCaptureOptions[] = {
    {"--inf", "PATH", "an INF that a command would be given: its folder, journal and log", true},
    {"--state", "PATH", "a journal in another place than the usual", true},
    {"--raw", "", "keeps the names of users and accounts"},
};

constexpr Operand kImportOperands[] = {{"CAPTURE", "the folder of a capture"},
                                       {"DIR", "the folder of the new machine"}};
constexpr Option kImportOptions[] = {
    {"--image", "JSON", "what the driver does beyond what the capture says of it"},
};

std::vector<std::u16string> Utf16Of(const std::vector<std::string>& words) {
  std::vector<std::u16string> texts;
  texts.reserve(words.size());
  for (const std::string& word : words)
    texts.push_back(ToUtf16(word));
  return texts;
}

}  // namespace

CaptureFiles TakeCaptureOf(LabMachine& lab, const capture::CaptureRequest& request) {
  platform::simulated::Process process(lab.machine);
  PrepareProcess(lab.process, process);
  capture::Capture taken = capture::TakeCapture(request);
  return {std::move(taken.document), std::move(taken.contents)};
}

std::span<const Operand> CaptureOperands() {
  return kCaptureOperands;
}
std::span<const Option> CaptureOptions() {
  return kCaptureOptions;
}

LabResult CaptureMachine(const CommandWords& words) {
  const MachineFolder folder(words.OperandAt(0));
  LabMachine lab = folder.Load();
  WriteCaptureFolder(words.OperandAt(1),
                     TakeCaptureOf(lab, {.infs = Utf16Of(words.All("--inf")),
                                         .journals = Utf16Of(words.All("--state")),
                                         .raw = words.Has("--raw")}));
  return {};
}

std::span<const Operand> ImportOperands() {
  return kImportOperands;
}
std::span<const Option> ImportOptionList() {
  return kImportOptions;
}

LabResult ImportMachine(const CommandWords& words) {
  ImportOptions options;
  if (const std::string* const image = words.Last("--image")) {
    options.image = ParseJson(*image);
    if (options.image.As<Json::Object>() == nullptr) throw BadInput("--image", "must be an object");
  }
  const std::string& capture = words.OperandAt(0);
  const std::string& folder = words.OperandAt(1);
  ImportedCapture imported;
  const CaptureFiles files = ReadCaptureFolder(capture);
  try {
    imported = ImportCapture(files, options);
  } catch (const BadInput& bad) {
    throw BadInput(capture, bad.what());
  }
  CreateMachineFolder(folder, imported.lab);
  std::string text = imported.origin + "\n";
  for (const std::string& note : imported.notes)
    text += "  " + note + "\n";
  LabResult result;
  result.console.push_back({false, std::move(text)});
  return result;
}

}  // namespace vorn::lab

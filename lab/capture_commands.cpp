#include "lab/capture_commands.h"

#include "base/text.h"
#include "lab/bad_input.h"
#include "lab/capture_folder.h"
#include "lab/driver_facts.h"
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

/// The object of --image, whose keys are those of an image.
Json ParseImageKeys(const std::string& text) {
  try {
    Json keys = ParseJson(text);
    platform::simulated::DriverImage image;
    FromJson(keys, "", image);
    return keys;
  } catch (const BadInput& bad) {
    throw BadInput("--image", bad.what());
  }
}

}  // namespace

CaptureFiles TakeCaptureOf(LabMachine& lab, const capture::CaptureRequest& request) {
  platform::simulated::Process process(lab.machine);
  PrepareProcess(lab.process, process);
  capture::Capture taken = capture::TakeCapture(request);
  CaptureFiles files = {std::move(taken.document), std::move(taken.contents)};
  for (const capture::ReadError& error : taken.errors) {
    files.unread.push_back(ToUtf8(error.fact) + ", " + error.call + " (error " +
                           *HexToJson(error.code).As<std::string>() + ")");
  }
  return files;
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
  const CaptureFiles files = TakeCaptureOf(lab, {.infs = Utf16Of(words.All("--inf")),
                                                 .journals = Utf16Of(words.All("--state")),
                                                 .raw = words.Has("--raw")});
  WriteCaptureFolder(words.OperandAt(1), files);
  LabResult result;
  for (const std::string& fact : files.unread)
    result.console.push_back({true, "vorn_lab: not read: " + fact + "\n"});
  return result;
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
    options.image = ParseImageKeys(*image);
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

#include "lab/command_line.h"

#include "base/text.h"
#include "lab/bad_input.h"
#include "lab/call_trace.h"
#include "lab/capture_commands.h"
#include "lab/command_words.h"
#include "lab/fault_spec.h"
#include "lab/json_text.h"
#include "lab/machine_folder.h"
#include "lab/machine_report.h"
#include "lab/near_word.h"
#include "lab/package_command.h"
#include "lab/presets.h"
#include "lab/record_command.h"
#include "lab/rehearse_command.h"
#include "lab/run_program.h"
#include "lab/timeline_file.h"

#include <fstream>
#include <new>
#include <system_error>

namespace vorn::lab {

namespace {

#ifndef VORN_VERSION
#error "the build defines VORN_VERSION, the version of the project"
#endif
constexpr char kVersionLine[] = "vorn_lab " VORN_VERSION "\n";

LabResult Success(std::string output = {}) {
  LabResult result;
  if (!output.empty()) result.console.push_back({false, std::move(output)});
  return result;
}

constexpr Operand kMachine[] = {{"DIR", "the folder of a machine"}};

LabResult New(const CommandWords& words) {
  if (words.Has("--list")) return Success(PresetList());
  const std::string& folder = words.OperandAt(0);
  const std::string* const preset = words.Last("--preset");
  CreateMachineFolder(folder, MakePreset(preset == nullptr ? Presets()[0].name : *preset));
  return Success();
}

constexpr Option kNewOptions[] = {
    {"--preset", "NAME", "what the machine is to begin with"},
    {"--list", "", "lists the presets, and makes no machine"},
};

constexpr Option kRunOptions[] = {
    {"--fault", "SPEC", "makes something go wrong; \"vorn_lab help faults\" lists what there is",
     true},
    {"--strict", "", "ends with status 65 when a fault was never reached or had no effect"},
    {"--trace", "FILE", "writes a line for each platform call"},
};

std::vector<StagedFault> FaultsOf(const CommandWords& words, std::string_view option = "--fault") {
  std::vector<StagedFault> faults;
  for (const std::string& spec : words.All(option))
    faults.push_back(ParseFault(spec));
  return faults;
}

/// What the lab has to say after a run, and the machine as the run left it.
void EndRun(const CommandWords& words, const MachineFolder& folder, const LabMachine& lab,
            ProgramRun& run) {
  const auto say = [&run](const std::string& line) {
    run.result.console.push_back({true, "vorn_lab: " + line + "\n"});
  };
  if (!run.end.empty()) say(run.end);
  for (const std::string& remark : run.remarks)
    say(remark);
  if (words.Has("--strict") && !run.remarks.empty()) run.result.status = kExitFaultInVain;
  try {
    folder.Save(lab);
  } catch (const std::exception& failed) {
    run.result.status = kExitHostFailed;
    say("not saved: " + std::string(failed.what()));
  }
}

/// Runs the program, and writes the run to `recording` if there is one.
LabResult RunAndSave(const CommandWords& words, const MachineFolder& folder,
                     RecordingFile* recording) {
  const std::vector<StagedFault> faults = FaultsOf(words);
  LabMachine lab = folder.Load();
  std::ofstream trace;
  const std::string* const traceFile = words.Last("--trace");
  if (traceFile != nullptr) {
    trace.open(*traceFile, std::ios::binary | std::ios::trunc);
    if (!trace) throw BadInput("--trace " + *traceFile, "cannot be written");
  }
  ProgramRun run = RunProgram(lab, words.Tail(), faults, traceFile != nullptr);
  if (traceFile != nullptr) trace << TraceText(run.calls);
  if (recording != nullptr) recording->Write(words.Tail(), run);
  EndRun(words, folder, lab, run);
  return run.result;
}

LabResult Run(const CommandWords& words) {
  return RunAndSave(words, MachineFolder(words.OperandAt(0)), nullptr);
}

constexpr Operand kRecordOperands[] = {kMachine[0], {"OUT", "a file to write to"}};

LabResult Record(const CommandWords& words) {
  const MachineFolder folder(words.OperandAt(0));
  RecordingFile recording(words.OperandAt(1));
  return RunAndSave(words, folder, &recording);
}

constexpr Operand kTimelineOperands[] = {
    kMachine[0], {"OUT", "a page to write to, or a picture when it ends in .svg"}};

constexpr Option kTimelineOptions[] = {
    kRunOptions[0],
    kRunOptions[1],
    {"--against", "DIR2", "draws the run beside the same command on another machine"},
    {"--against-fault", "SPEC", "makes something go wrong there", true},
};

/// A machine of a timeline, and the run on it.
struct DrawnRun {
  DrawnRun(const CommandWords& words, const std::string& path, std::string_view faultOption)
      : folder(path), lab(folder.Load()) {
    history = RunWithHistory(lab, words.Tail(), FaultsOf(words, faultOption), run);
    history.machine = std::filesystem::absolute(path).lexically_normal().filename().string();
  }

  MachineFolder folder;
  LabMachine lab;
  ProgramRun run;
  RunHistory history;
};

/// Prints what the run on the first machine printed.
LabResult Timeline(const CommandWords& words) {
  const std::string& path = words.OperandAt(0);
  const std::string* const other = words.Last("--against");
  std::error_code none;
  if (other == nullptr && words.Has("--against-fault"))
    throw BadInput("--against-fault", "needs a second machine: --against DIR2");
  if (other != nullptr && std::filesystem::equivalent(path, *other, none))
    throw BadInput("--against", "must be another machine");
  TimelineFile file(words.OperandAt(1));
  DrawnRun first(words, path, "--fault");
  std::vector<RunHistory> histories = {first.history};
  if (other != nullptr) {
    DrawnRun second(words, *other, "--against-fault");
    histories.push_back(second.history);
    first.run.remarks.insert(first.run.remarks.end(), second.run.remarks.begin(),
                             second.run.remarks.end());
    EndRun(words, second.folder, second.lab, second.run);
  } else {
    histories.front().machine.clear();
  }
  file.Write(histories);
  EndRun(words, first.folder, first.lab, first.run);
  return first.run.result;
}

constexpr Option kShowOptions[] = {{"--json", "", "prints the same facts as JSON"}};

LabResult Show(const CommandWords& words) {
  const MachineFolder folder(words.OperandAt(0));
  const MachineReport report = Examine(folder.Load().machine);
  return Success(words.Has("--json") ? ToReadableText(ReportJson(report)) : ReportText(report));
}

constexpr Operand kPackageOperands[] = {kMachine[0],
                                        {"PATH", "a folder of the machine to write to"}};

LabResult Package(const CommandWords& words) {
  const MachineFolder folder(words.OperandAt(0));
  LabMachine lab = folder.Load();
  const std::u16string inf = WritePackageFromOptions(lab, words.OperandAt(1), words);
  folder.Save(lab);
  return Success(ToUtf8(inf) + "\n");
}

LabResult RebootMachine(const CommandWords& words) {
  const MachineFolder folder(words.OperandAt(0));
  LabMachine lab = folder.Load();
  Reboot(lab.machine);
  folder.Save(lab);
  return Success();
}

// ------------------------------------------------------------------------------------------------
// The commands, and help with them.

struct Command {
  CommandForm form;
  LabResult (*run)(const CommandWords& words);
};

const std::vector<Command>& Commands() {
  static const std::vector<Command> commands = {
      {{"new", kMachine, kNewOptions, {}, "Makes a machine in the folder DIR, which must be free."},
       New},
      {{"run", kMachine, kRunOptions, "[COMMAND ARGUMENTS...]",
        "Runs one vorn_devnode command as one process on the machine. Words after -- are never "
        "options of the lab."},
       Run},
      {{"record", kRecordOperands, kRunOptions, "[COMMAND ARGUMENTS...]",
        "Runs one command as run does, and writes what it printed, when, and its status to the "
        "file OUT, for vorn_rehearsal to play."},
       Record},
      {{"timeline", kTimelineOperands, kTimelineOptions, "[COMMAND ARGUMENTS...]",
        "Runs one command as run does, and draws it: phases, platform calls, waits, console lines, "
        "devices, packages, endpoints and the journal over machine time."},
       Timeline},
      {{"show", kMachine, kShowOptions, {}, "Prints the state of the machine."}, Show},
      {{"package",
        kPackageOperands,
        PackageOptions(),
        {},
        "Writes a driver package into the folder PATH of the machine, and prints its INF."},
       Package},
      {{"reboot", kMachine, {}, {}, "Restarts the machine."}, RebootMachine},
      {{"import",
        ImportOperands(),
        ImportOptionList(),
        {},
        "Makes a machine of a capture, and prints what the capture cannot know."},
       ImportMachine},
      {{"capture",
        CaptureOperands(),
        CaptureOptions(),
        {},
        "Captures the machine as vorn_capture.exe captures a Windows machine."},
       CaptureMachine},
      {{"rehearse", RehearseOperands(), RehearseOptions(), "[COMMAND ARGUMENTS...]",
        "Runs one command on each capture of a list, and prints a line of JSON for each. "
        "tools/rehearse makes a table of many."},
       Rehearse},
  };
  return commands;
}

/// What there is to get help with, besides the commands.
constexpr std::string_view kFaultsTopic = "faults";

std::string Usage() {
  std::string text = "Usage:\n";
  for (const Command& command : Commands())
    text += Synopsis(command.form);
  return text +
         "  vorn_lab help [COMMAND|faults]\n"
         "  vorn_lab --version\n";
}

const Command& FindCommand(const std::string& word) {
  std::vector<std::string_view> names;
  for (const Command& command : Commands()) {
    if (command.form.name == word) return command;
    names.push_back(command.form.name);
  }
  names.emplace_back("help");
  throw BadInput(word.empty() ? "\"\"" : word,
                 "is not a command of vorn_lab" + Suggestion(word, "they are", names));
}

LabResult HelpWith(const Command& command) {
  const std::string more = command.run == New ? "\nPresets:\n" + PresetList() : "";
  return Success(HelpText(command.form) + more);
}

/// "help", "help COMMAND", "help faults".
LabResult Help(const Words& words) {
  if (words.size() == 1) return Success(Usage());
  if (words.size() > 2) throw BadInput(words[2], "is one word too many for help");
  if (words[1] == kFaultsTopic) return Success(FaultHelp());
  return HelpWith(FindCommand(words[1]));
}

LabResult Dispatch(const Words& words) {
  if (words.empty()) {
    LabResult usage;
    usage.status = kExitBadInput;
    usage.console.push_back({true, Usage()});
    return usage;
  }
  const std::string& first = words[0];
  if (first == "help" || IsHelpOption(first)) return Help(words);
  if (first == "version" || first == "--version") return Success(kVersionLine);
  const Command& command = FindCommand(first);
  const bool helpAlone = words.size() == 2 && words[1] == "help";
  const CommandWords rest(command.form,
                          helpAlone ? Words{"--help"} : Words(words.begin() + 1, words.end()));
  if (rest.AsksForHelp()) return HelpWith(command);
  if (rest.AsksForVersion()) return Success(kVersionLine);
  return command.run(rest);
}

LabResult Failure(int status, const std::string& what) {
  LabResult result;
  result.status = status;
  result.console.push_back({true, "vorn_lab: " + what + "\n"});
  return result;
}

std::string Joined(const std::vector<ConsolePiece>& console, bool error) {
  std::string text;
  for (const ConsolePiece& piece : console) {
    if (piece.error == error) text += piece.text;
  }
  return text;
}

}  // namespace

std::string LabResult::Output() const {
  return Joined(console, false);
}
std::string LabResult::ErrorOutput() const {
  return Joined(console, true);
}

LabResult RunLab(const Words& arguments) {
  try {
    return Dispatch(arguments);
  } catch (const BadInput& bad) {
    return Failure(kExitBadInput, bad.what());
  } catch (const std::system_error& failed) {
    return Failure(kExitHostFailed, failed.what());
  } catch (const std::bad_alloc&) {
    return Failure(kExitHostFailed, "out of memory");
  }
}

}  // namespace vorn::lab

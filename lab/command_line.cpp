#include "lab/command_line.h"

#include "base/text.h"
#include "lab/bad_input.h"
#include "lab/fault_spec.h"
#include "lab/json_text.h"
#include "lab/machine_folder.h"
#include "lab/machine_report.h"
#include "lab/package_command.h"
#include "lab/run_program.h"

#include <algorithm>
#include <fstream>
#include <new>
#include <optional>
#include <system_error>

namespace vorn::lab {

using platform::simulated::Fault;
using platform::simulated::Machine;

namespace {

using Words = std::vector<std::string>;

constexpr char kUsage[] =
    "Usage:\n"
    "  vorn_lab new DIR [--preset clean|installed|outdated|duplicates|disabled]\n"
    "  vorn_lab run DIR [--trace FILE] [--fault SPEC]... [--] [COMMAND ARGUMENTS...]\n"
    "  vorn_lab show DIR [--json]\n"
    "  vorn_lab package DIR PATH [--version V] [--date D] [--utf16] [--broken-catalog]\n"
    "                   [--no-catalog] [--image JSON] [--extra TEXT] [--inf-name N]\n"
    "                   [--catalog-name N] [--provider P] [--provider-name N] [--class N]\n"
    "                   [--class-guid G] [--hardware-id H] [--service S]\n"
    "  vorn_lab reboot DIR\n";

struct Preset {
  std::string_view name;
  Machine (*make)();
};
constexpr Preset kPresets[] = {
    {"clean", platform::simulated::CleanMachine},
    {"installed", [] { return platform::simulated::InstalledMachine(); }},
    {"outdated", platform::simulated::OutdatedMachine},
    {"duplicates", platform::simulated::DuplicatesMachine},
    {"disabled", platform::simulated::DisabledMachine},
};

LabResult Success(std::string output = {}) {
  LabResult result;
  if (!output.empty()) result.console.push_back({false, std::move(output)});
  return result;
}

const std::string& DemandFolder(const Words& words) {
  if (words.size() < 2) throw BadInput(words[0], "needs the folder of a machine");
  return words[1];
}

[[noreturn]] void RefuseOption(const Words& words, std::size_t index) {
  throw BadInput(words[index], "is not an option of " + words[0]);
}

Machine MakePreset(const std::string& name) {
  const auto preset = std::find_if(std::begin(kPresets), std::end(kPresets),
                                   [&name](const Preset& known) { return known.name == name; });
  if (preset == std::end(kPresets)) {
    throw BadInput("--preset", "must be clean, installed, outdated, duplicates or disabled");
  }
  return preset->make();
}

LabResult New(const Words& words) {
  const std::string& folder = DemandFolder(words);
  std::string preset = "clean";
  if (words.size() > 2 && words[2] != "--preset") RefuseOption(words, 2);
  if (words.size() == 3) throw BadInput("--preset", "needs a name");
  if (words.size() > 4) RefuseOption(words, 4);
  if (words.size() == 4) preset = words[3];
  LabMachine lab;
  lab.machine = MakePreset(preset);
  CreateMachineFolder(folder, lab);
  return Success();
}

struct RunRequest {
  std::optional<std::string> trace;
  std::vector<Fault> faults;
  Words program;
};

/// The lab's own options come before the program's command.
RunRequest ParseRun(const Words& words) {
  RunRequest request;
  std::size_t i = 2;
  for (; i < words.size() && words[i].starts_with("--"); i += 2) {
    if (words[i] == "--") {
      ++i;
      break;
    }
    if (words[i] != "--trace" && words[i] != "--fault") RefuseOption(words, i);
    if (i + 1 == words.size()) throw BadInput(words[i], "needs a value");
    if (words[i] == "--trace") {
      request.trace = words[i + 1];
    } else {
      request.faults.push_back(ParseFault(words[i + 1]));
    }
  }
  request.program.assign(words.begin() + static_cast<std::ptrdiff_t>(std::min(i, words.size())),
                         words.end());
  return request;
}

LabResult Run(const Words& words) {
  const MachineFolder folder(DemandFolder(words));
  const RunRequest request = ParseRun(words);
  LabMachine lab = folder.Load();
  std::ofstream trace;
  if (request.trace) {
    trace.open(*request.trace, std::ios::binary | std::ios::trunc);
    if (!trace) throw BadInput("--trace " + *request.trace, "cannot be written");
  }
  ProgramRun run = RunProgram(lab, request.program, request.faults, request.trace.has_value());
  trace << run.trace;
  try {
    folder.Save(lab);
  } catch (const std::exception& failed) {
    run.result.status = kExitHostFailed;
    run.result.console.push_back(
        {true, "vorn_lab: not saved: " + std::string(failed.what()) + "\n"});
  }
  return run.result;
}

LabResult Show(const Words& words) {
  const MachineFolder folder(DemandFolder(words));
  const bool json = words.size() > 2 && words[2] == "--json";
  if (words.size() > 2 && !json) RefuseOption(words, 2);
  if (words.size() > 3) RefuseOption(words, 3);
  const MachineReport report = Examine(folder.Load().machine);
  return Success(json ? ToReadableText(ReportJson(report)) : ReportText(report));
}

LabResult Package(const Words& words) {
  const MachineFolder folder(DemandFolder(words));
  if (words.size() < 3) throw BadInput("package", "needs a folder of the machine to write to");
  LabMachine lab = folder.Load();
  const std::u16string inf =
      WritePackageFromOptions(lab, words[2], Words(words.begin() + 3, words.end()));
  folder.Save(lab);
  return Success(ToUtf8(inf) + "\n");
}

LabResult RebootMachine(const Words& words) {
  const MachineFolder folder(DemandFolder(words));
  if (words.size() > 2) RefuseOption(words, 2);
  LabMachine lab = folder.Load();
  Reboot(lab.machine);
  folder.Save(lab);
  return Success();
}

struct Command {
  std::string_view name;
  LabResult (*run)(const Words& words);
};
constexpr Command kCommands[] = {
    {"new", New}, {"run", Run}, {"show", Show}, {"package", Package}, {"reboot", RebootMachine},
};

LabResult Dispatch(const Words& words) {
  if (words.size() == 1 && words[0] == "--help") return Success(kUsage);
  const auto command = std::find_if(
      std::begin(kCommands), std::end(kCommands),
      [&words](const Command& known) { return !words.empty() && known.name == words[0]; });
  if (command != std::end(kCommands)) return command->run(words);
  LabResult usage;
  usage.status = kExitBadInput;
  usage.console.push_back({true, kUsage});
  return usage;
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

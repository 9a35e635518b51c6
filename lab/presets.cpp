#include "lab/presets.h"

#include "lab/bad_input.h"
#include "lab/near_word.h"
#include "lab/run_program.h"
#include "platform/simulated/endpoint_builder.h"

#include <algorithm>
#include <vector>

namespace vorn::lab {

using platform::simulated::Device;
using platform::simulated::Machine;

namespace {

LabMachine LabMachineOf(Machine machine) {
  LabMachine lab;
  lab.machine = std::move(machine);
  return lab;
}

constexpr char kSampleInf[] = R"(C:\pkg\driver\vorn_audio.inf)";
constexpr char kSampleJournal[] = R"(C:\pkg\.vorn-driver-activation-state)";
constexpr char16_t kRoot[] = u"ROOT\\MEDIA\\0000";

LabMachine Installed() {
  return LabMachineOf(platform::simulated::InstalledMachine());
}

/// What a run of the program leaves: such a state is what users meet, to the last file.
LabMachine After(LabMachine lab, const std::vector<std::string>& command,
                 const std::vector<StagedFault>& faults = {}) {
  constexpr std::uint64_t kSettleMs = 60'000;
  RunProgram(lab, command, faults, false);
  Advance(lab.machine, kSettleMs);
  return lab;
}

LabMachine PendingRestart() {
  return After(LabMachineOf(platform::simulated::OutdatedMachine()),
               {"install", kSampleInf, kSampleJournal, "--rollback"},
               {ParseFault("UpdateDriverForPlugAndPlayDevicesW:restart")});
}

LabMachine StaleJournal() {
  return After(After(LabMachineOf(platform::simulated::CleanMachine()), {"install", kSampleInf}),
               {"remove", kSampleInf});
}

LabMachine Interrupted() {
  return After(LabMachineOf(platform::simulated::CleanMachine()), {"install", kSampleInf},
               {ParseFault("UpdateDriverForPlugAndPlayDevicesW:kill-after")});
}

LabMachine Busy() {
  constexpr std::uint64_t kHourMs = 3'600'000;
  LabMachine lab = Installed();
  Device& root = *lab.machine.devices.Find(kRoot);
  root.temper.vetoUntil = lab.machine.clock.tick + kHourMs;
  return lab;
}

LabMachine Redirected() {
  LabMachine lab = Installed();
  lab.machine.audio.redirected = true;
  return lab;
}

LabMachine UserDisabled() {
  constexpr platform::simulated::CableFlow kDisabledByUser[] = {{0, 0}, {3, 1}, {9, 0}};
  LabMachine lab = Installed();
  for (const platform::simulated::CableFlow& cable : kDisabledByUser) {
    const std::u16string id = FindEndpoint(lab.machine, kRoot, cable)->id;
    SetEndpointDisabled(lab.machine, id, true);
  }
  return lab;
}

LabMachine FullDisk() {
  LabMachine lab = LabMachineOf(platform::simulated::OutdatedMachine());
  lab.machine.files.volumes[0].freeBytes = 0;
  return lab;
}

constexpr Preset kPresets[] = {
    {"clean", "no VORN device; other makers' packages and devices",
     [] { return LabMachineOf(platform::simulated::CleanMachine()); }},
    {"installed", "package 26.8.10.5 runs, and its 20 endpoints are active",
     [] { return LabMachineOf(platform::simulated::InstalledMachine()); }},
    {"outdated", "like installed, with 26.8.9.4",
     [] { return LabMachineOf(platform::simulated::OutdatedMachine()); }},
    {"duplicates", "like installed, with a ghost root and a second present root",
     [] { return LabMachineOf(platform::simulated::DuplicatesMachine()); }},
    {"disabled", "like installed, but the user disabled the device",
     [] { return LabMachineOf(platform::simulated::DisabledMachine()); }},
    {"user-disabled", "like installed, but the user disabled three endpoints", UserDisabled},
    {"busy", "like installed, but a program keeps the device open for an hour", Busy},
    {"remote", "like installed, in a session whose sound goes to another machine", Redirected},
    {"pending-restart",
     "like outdated; a change to 26.8.10.5 ended with 10 and waits for a restart", PendingRestart},
    {"stale-journal", "installed and removed again: the journal is still there", StaleJournal},
    {"interrupted", "an install died right after the bind", Interrupted},
    {"full-disk", "like outdated, and C: has no free byte", FullDisk},
};

}  // namespace

std::span<const Preset> Presets() {
  return kPresets;
}

LabMachine MakePreset(std::string_view name) {
  const auto preset = std::find_if(std::begin(kPresets), std::end(kPresets),
                                   [name](const Preset& known) { return known.name == name; });
  if (preset != std::end(kPresets)) return preset->make();
  std::vector<std::string_view> names;
  for (const Preset& known : kPresets)
    names.push_back(known.name);
  throw BadInput("--preset " + std::string(name),
                 "is not a preset" + Suggestion(name, "the presets are", names));
}

std::string PresetList() {
  std::size_t width = 0;
  for (const Preset& preset : kPresets)
    width = std::max(width, preset.name.size());
  std::string text;
  for (const Preset& preset : kPresets) {
    std::string name = "  " + std::string(preset.name);
    name.resize(width + 4, ' ');
    text += name + std::string(preset.about) + "\n";
  }
  return text;
}

}  // namespace vorn::lab

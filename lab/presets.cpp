#include "lab/presets.h"

#include "lab/bad_input.h"
#include "lab/near_word.h"

#include <algorithm>
#include <vector>

namespace vorn::lab {

using platform::simulated::Machine;

namespace {

LabMachine LabMachineOf(Machine machine) {
  LabMachine lab;
  lab.machine = std::move(machine);
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

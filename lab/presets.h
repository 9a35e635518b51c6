#pragma once

// The machines that `vorn_lab new` makes.

#include "lab/machine_folder.h"

#include <span>
#include <string_view>

namespace vorn::lab {

struct Preset {
  std::string_view name;
  std::string_view about;
  LabMachine (*make)();
};

/// The first is the default.
std::span<const Preset> Presets();

/// A new machine of a preset. Throws BadInput for an unknown name.
LabMachine MakePreset(std::string_view name);

/// A line for each preset: its name and what it is.
std::string PresetList();

}  // namespace vorn::lab

#pragma once

// The command `package`: writes a driver package into a machine.

#include "lab/command_words.h"
#include "lab/machine_folder.h"

#include <span>
#include <string>

namespace vorn::lab {

std::span<const Option> PackageOptions();

/// Writes the package that the options describe into the folder `path` of the machine; returns the
/// path of its INF. Throws BadInput for an invalid option or path.
std::u16string WritePackageFromOptions(LabMachine& lab, const std::string& path,
                                       const CommandWords& words);

}  // namespace vorn::lab

#pragma once

// The command `package`: writes a driver package into a machine.

#include "lab/machine_folder.h"

#include <string>
#include <vector>

namespace vorn::lab {

/// Writes the package that the options describe into the folder `path` of the machine; returns the
/// path of its INF. Throws BadInput for an invalid option or path.
std::u16string WritePackageFromOptions(LabMachine& lab, const std::string& path,
                                       const std::vector<std::string>& options);

}  // namespace vorn::lab

#pragma once

// A machine in which every fact differs from its default.

#include "lab/machine_folder.h"

namespace vorn::lab {

LabMachine UnusualMachine();

}  // namespace vorn::lab

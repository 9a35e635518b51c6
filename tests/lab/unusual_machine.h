#pragma once

// A machine in which every fact has another value than usual.

#include "lab/machine_folder.h"

namespace vorn::lab {

LabMachine UnusualMachine();

}  // namespace vorn::lab

#pragma once

// Machines to capture, and captures of them.

#include "lab/capture_commands.h"
#include "lab/capture_import.h"

#include <string>
#include <vector>

namespace vorn::lab {

struct CapturedCase {
  std::string name;
  LabMachine (*make)();
};

/// All presets, and machines in which something cannot be read, is held, hidden, foreign or broken.
const std::vector<CapturedCase>& CapturedCases();

/// A machine with the usual processes.
LabMachine LabOf(platform::simulated::Machine machine);

/// What the tests ask for: the sample package, and names as they are.
capture::CaptureRequest SampleRequest();

CaptureFiles CaptureOf(LabMachine lab, const capture::CaptureRequest& request = SampleRequest());

}  // namespace vorn::lab

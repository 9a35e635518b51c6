#pragma once

// The commands `capture` and `import`: from a machine of the lab to a capture, as vorn_capture.exe
// takes it on Windows, and from any capture to a machine.

#include "capture/capture.h"
#include "lab/capture_import.h"
#include "lab/command_line.h"
#include "lab/command_words.h"

#include <span>

namespace vorn::lab {

/// Takes a capture of a machine, in a process of its own. The machine is as before, except that its
/// clock went on.
CaptureFiles TakeCaptureOf(LabMachine& lab, const capture::CaptureRequest& request);

std::span<const Operand> CaptureOperands();
std::span<const Option> CaptureOptions();
LabResult CaptureMachine(const CommandWords& words);

std::span<const Operand> ImportOperands();
std::span<const Option> ImportOptionList();
LabResult ImportMachine(const CommandWords& words);

}  // namespace vorn::lab

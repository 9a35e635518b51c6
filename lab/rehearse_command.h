#pragma once

// The command `rehearse`: one command of the program on many captures, each on a machine of its own
// that nobody keeps. tools/rehearse deals the captures to several of these and makes a table of
// what they print.

#include "lab/command_line.h"
#include "lab/command_words.h"

#include <span>

namespace vorn::lab {

std::span<const Operand> RehearseOperands();
std::span<const Option> RehearseOptions();

/// Prints a line of JSON for each capture of the list: its folder, and the status with the last
/// line that the program printed, or why the capture was refused.
LabResult Rehearse(const CommandWords& words);

}  // namespace vorn::lab

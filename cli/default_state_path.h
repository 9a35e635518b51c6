#pragma once

// Where the activation state lies when the command line does not say: one folder above the one that
// holds the INF or the program, so that an installer that keeps the two side by side finds the same
// file from both.

#include <string>
#include <string_view>

namespace vorn::cli {

/// The default for install: in the parent of the folder of the INF as typed, made absolute with
/// GetFullPathNameW. Empty when there is no such folder or the platform does not tell.
std::u16string StatePathForInf(const std::u16string& infPath);

/// The default for verify and hot-activate: in the parent of the folder that holds the program
/// (GetModuleFileNameW). Empty when there is no such folder or the platform does not tell.
std::u16string StatePathForProgram();

}  // namespace vorn::cli

#pragma once

// The default path of the activation state: in the parent of the folder of the INF or the program,
// so that both find the same file if their folders are side by side.

#include <string>
#include <string_view>

namespace vorn::cli {

/// The default for install, from the INF's path made absolute (GetFullPathNameW). Empty on failure
/// and without a parent folder.
std::u16string StatePathForInf(const std::u16string& infPath);

/// The default for verify and hot-activate, from the program's path (GetModuleFileNameW). Empty on
/// failure and without a parent folder.
std::u16string StatePathForProgram();

}  // namespace vorn::cli

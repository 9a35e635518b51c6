#pragma once

// The command line of vorn_capture.exe: reads the machine and writes the capture into a new folder.

#include <cstdint>
#include <string>
#include <vector>

namespace vorn::capture {

inline constexpr std::int32_t kExitCaptured = 0;
inline constexpr std::int32_t kExitUsage = 1;
inline constexpr std::int32_t kExitNotWritten = 2;

/// Runs with the words of a command line, whose element 0 is the program's name, and returns the
/// exit status. Facts that could not be read do not change it: they are part of the capture.
std::int32_t RunCommand(const std::vector<std::u16string>& arguments);

}  // namespace vorn::capture

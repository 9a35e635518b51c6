#pragma once

// Runs the lab in a process of its own, as a script would.

#include <string>
#include <vector>

namespace vorn::lab {

struct LabProcess {
  int status = 0;  // 128 plus the signal that ended it
  std::string output;
  std::string errorOutput;
};

/// Path of the lab that belongs to this test program: sanitized or not, as it is itself.
const char* LabProgram();

/// Runs vorn_lab with these arguments and waits for it.
LabProcess RunLabProcess(const std::vector<std::string>& arguments);

/// Runs a line of a shell in a folder, in which `vorn_lab` is that program; both streams are its
/// output.
LabProcess RunShellLine(const std::string& folder, const std::string& line);

}  // namespace vorn::lab

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

}  // namespace vorn::lab

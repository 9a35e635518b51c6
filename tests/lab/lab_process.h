#pragma once

// The lab as a process of its own, as a script calls it.

#include <string>
#include <vector>

namespace vorn::lab {

struct LabProcess {
  int status = 0;  // 128 and the signal when it died of one
  std::string output;
  std::string errorOutput;
};

/// Runs vorn_lab with these arguments and waits for its end.
LabProcess RunLabProcess(const std::vector<std::string>& arguments);

}  // namespace vorn::lab

#pragma once

// What another process does between two of our calls.

#include "platform/simulated/machine.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::tests {

struct OtherProcess {
  std::string name;
  std::function<void(platform::simulated::Machine&)> act;  // may be done to any machine, repeatedly
};

const std::vector<OtherProcess>& OtherProcesses();

/// The one of that name; throws std::invalid_argument when there is none.
const OtherProcess& FindOtherProcess(std::string_view name);

}  // namespace vorn::tests

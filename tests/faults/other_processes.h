#pragma once

// What happens between two calls of the program: other processes swap, link, grow and delete files,
// and the platform does something other than it reports.

#include "platform/simulated/machine.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::tests {

struct OtherProcess {
  std::string name;
  std::function<void(platform::simulated::Machine&)>
      act;  // works on any machine, and more than once
};

/// Acts on the package's files and the journal. The names of acts on the journal end in "journal".
const std::vector<OtherProcess>& OtherProcesses();

/// Lies of the platform before a call that changes devices: the effect is delayed, or the older
/// image stays in memory.
const std::vector<OtherProcess>& LiesBefore();

/// Lies of the platform after such a call: another package is bound, another image is loaded, an
/// endpoint is lost, or the driver restarts, hides an endpoint, or disappears.
const std::vector<OtherProcess>& LiesAfter();

/// The act or lie of that name; throws std::invalid_argument when there is none.
const OtherProcess& FindOtherProcess(std::string_view name);

}  // namespace vorn::tests

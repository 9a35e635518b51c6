#pragma once

// What others do between two of our calls: processes that swap, link, grow and delete files, and a
// platform that does something else than it says.

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

/// Acts on the package's files and the journal. Names of those on the journal end in "journal".
const std::vector<OtherProcess>& OtherProcesses();

/// Lies of the platform before a call that changes devices: its effect comes late, or the older
/// image stays in memory.
const std::vector<OtherProcess>& LiesBefore();

/// Lies of the platform after such a call: another package is bound, another image is loaded, an
/// endpoint is lost, the driver restarts, hides an endpoint, or disappears.
const std::vector<OtherProcess>& LiesAfter();

/// The one of that name, of whichever sort; throws std::invalid_argument when there is none.
const OtherProcess& FindOtherProcess(std::string_view name);

}  // namespace vorn::tests

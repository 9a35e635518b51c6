#pragma once

// How simulated devices go: asked to let go, removed by the class installer.

#include "platform/types.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace vorn::platform::simulated {

struct Machine;

/// What a query-removal comes to; a veto has a type and the name of who objects.
struct QueryRemoval {
  CONFIGRET result = 0;
  std::uint32_t vetoType = 0;
  std::u16string vetoName;
};

/// Asks a present device and all below it to let go, the lowest first; the first that objects
/// decides. When none does the device stops and is absent, but still installed, until the machine
/// restarts (documented; that the root itself is no longer found is assumed).
QueryRemoval QueryRemove(Machine& machine, std::u16string_view instanceId);

/// Removes an installed device as its temper says: now, after a while in which it is stopped and
/// says CM_PROB_WILL_BE_REMOVED, or at the next restart, up to which it runs on.
void RemoveDevice(Machine& machine, std::u16string_view instanceId);

}  // namespace vorn::platform::simulated

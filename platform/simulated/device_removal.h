#pragma once

// How simulated devices are removed: by query-removal, or by the class installer.

#include "platform/types.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace vorn::platform::simulated {

struct Machine;

/// The outcome of a query-removal; a veto has a type and the name of the objector.
struct QueryRemoval {
  CONFIGRET result = 0;
  std::uint32_t vetoType = 0;
  std::u16string vetoName;
};

/// Asks a present device and everything below it to let go, lowest first; the first objection
/// decides. Without one the device stops. Its node stays, dead, until the device is set up again or
/// removed, or the machine restarts.
QueryRemoval QueryRemove(Machine& machine, std::u16string_view instanceId);

/// Removes an installed device in the way its temper sets: at once; after a delay in which it is
/// stopped with CM_PROB_WILL_BE_REMOVED; or at the next restart, until which it keeps running.
void RemoveDevice(Machine& machine, std::u16string_view instanceId);

/// Takes a node and everything below it out of the tree, with what was planned for each of them.
void EraseSubtree(Machine& machine, const std::u16string& instanceId);

}  // namespace vorn::platform::simulated

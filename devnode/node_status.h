#pragma once

// Status and problem code of a live device node.

#include "platform/config_manager.h"

#include <cstdint>
#include <optional>

namespace vorn {

struct NodeStatus {
  bool started = false;       // DN_STARTED
  std::uint32_t problem = 0;  // CM_PROB_ code, 0 when there is none

  bool IsStartedCleanly() const { return started && problem == 0; }
};

/// The status of a node (CM_Get_DevNode_Status); nothing when it cannot be told.
std::optional<NodeStatus> ReadNodeStatus(platform::DEVINST node);

}  // namespace vorn

#pragma once

// The status and problem code of a live device node.

#include "platform/config_manager.h"

#include <cstdint>
#include <optional>

namespace vorn {

struct NodeStatus {
  bool started = false;       // DN_STARTED
  std::uint32_t problem = 0;  // CM_PROB_ code; 0 if none

  bool IsStartedCleanly() const { return started && problem == 0; }
};

/// Reads a node's status (CM_Get_DevNode_Status); nothing on failure.
std::optional<NodeStatus> ReadNodeStatus(platform::DEVINST node);

}  // namespace vorn

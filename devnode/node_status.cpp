#include "devnode/node_status.h"

namespace vorn {

std::optional<NodeStatus> ReadNodeStatus(platform::DEVINST node) {
  std::uint32_t flags = 0;
  std::uint32_t problem = 0;
  if (platform::CM_Get_DevNode_Status(&flags, &problem, node) != platform::CR_SUCCESS) {
    return std::nullopt;
  }
  return NodeStatus{(flags & platform::DN_STARTED) != 0, problem};
}

}  // namespace vorn

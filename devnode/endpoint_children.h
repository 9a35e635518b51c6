#pragma once

// The audio endpoints that Plug and Play shows below a device node.

#include "platform/config_manager.h"

#include <string>
#include <vector>

namespace vorn {

/// Device ids of the node's children of the AudioEndpoint setup class that are started without a
/// problem, in the order of the tree (CM_Get_Child, CM_Get_Sibling). What cannot be read of a child
/// leaves that child out.
std::vector<std::u16string> ListStartedEndpointChildren(platform::DEVINST node);

}  // namespace vorn

#pragma once

// The audio endpoints below a device node in the Plug and Play tree.

#include "platform/config_manager.h"

#include <string>
#include <vector>

namespace vorn {

/// Device ids of the node's children of the AudioEndpoint setup class that are started without a
/// problem, in tree order (CM_Get_Child, CM_Get_Sibling). A child that cannot be read is left out.
std::vector<std::u16string> ListStartedEndpointChildren(platform::DEVINST node);

}  // namespace vorn

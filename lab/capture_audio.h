#pragma once

// The endpoints of a captured machine: which device each belongs to, and what the endpoint builder
// remembers of those that are out of view.

#include "platform/simulated/machine.h"

namespace vorn::lab {

/// Completes the catalog from the devices, their images and the endpoint records. `remote`: the
/// capture was made in a remote session, whose sound may be another machine's.
void GiveEndpointsTheirDevices(bool remote, platform::simulated::Machine& machine);

}  // namespace vorn::lab

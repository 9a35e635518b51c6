#pragma once

// Device nodes in machine.json.

#include "lab/facts.h"
#include "platform/simulated/device_tree.h"

namespace vorn::lab {

void Describe(FactWriter& facts, platform::simulated::Device& device);
void Describe(FactReader& facts, platform::simulated::Device& device);

}  // namespace vorn::lab

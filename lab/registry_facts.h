#pragma once

// The registry in machine.json: a flat list of the keys that say anything, by path below
// HKEY_LOCAL_MACHINE. Keys above them exist without being listed. The order of the list is the
// order in which keys are enumerated.

#include "lab/facts.h"
#include "platform/simulated/registry_model.h"

namespace vorn::lab {

Json RegistryToJson(const platform::simulated::Registry& registry);
void RegistryFromJson(const Json& json, const std::string& path,
                      platform::simulated::Registry& registry);

}  // namespace vorn::lab

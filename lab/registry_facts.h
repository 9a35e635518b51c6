#pragma once

// The registry in machine.json: a flat list of the keys that hold anything, by path below
// HKEY_LOCAL_MACHINE. The keys above them exist without being listed. Keys are enumerated in the
// order of the list.

#include "lab/facts.h"
#include "platform/simulated/registry_model.h"

namespace vorn::lab {

Json RegistryToJson(const platform::simulated::Registry& registry);
void RegistryFromJson(const Json& json, const std::string& path,
                      platform::simulated::Registry& registry);

}  // namespace vorn::lab

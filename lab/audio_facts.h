#pragma once

// The audio endpoint catalog and its builder in machine.json.

#include "lab/facts.h"
#include "platform/simulated/audio_catalog.h"

namespace vorn::lab {

void Describe(FactWriter& facts, platform::simulated::AudioCatalog& audio);
void Describe(FactReader& facts, platform::simulated::AudioCatalog& audio);

}  // namespace vorn::lab

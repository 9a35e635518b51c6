#pragma once

// Driver images and published packages in machine.json.

#include "lab/facts.h"
#include "platform/simulated/driver_image.h"
#include "platform/simulated/driver_store.h"

namespace vorn::lab {

/// An image is written as its version plus whatever differs from the sound image of that version.
void Describe(FactWriter& facts, platform::simulated::DriverImage& image);
void Describe(FactReader& facts, platform::simulated::DriverImage& image);

/// An endpoint's place in the driver: {"cable": 3, "flow": "capture"}.
void Describe(FactWriter& facts, platform::simulated::CableFlow& cable);
void Describe(FactReader& facts, platform::simulated::CableFlow& cable);

/// "render" and "capture".
extern const ChoiceNames kFlowNames;

void Describe(FactWriter& facts, platform::simulated::DriverStore& store);
void Describe(FactReader& facts, platform::simulated::DriverStore& store);

}  // namespace vorn::lab

#pragma once

// The devices and driver packages of a captured machine: what the driver answered becomes the image
// in memory, and each published INF a package of the store.

#include "lab/capture_document.h"

#include <optional>

namespace vorn::lab {

/// Completes the devices with their enumerators, drivers and images in memory.
void GiveDevicesTheirDrivers(const CaptureDocument& capture, platform::simulated::Machine& machine);

/// Fills the driver store. A package's image that only Windows could run, and a catalog that only
/// Windows could check, become those of the model: `image`, or a sound one of the INF's version.
void FillDriverStore(const CaptureDocument& capture,
                     const std::optional<platform::simulated::DriverImage>& image,
                     platform::simulated::Machine& machine);

}  // namespace vorn::lab

#pragma once

// The devices and driver packages of a captured machine: what the driver answered becomes the image
// in memory, and each published INF a package of the store.

#include "lab/capture_document.h"

namespace vorn::lab {

/// Completes the devices with their enumerators, drivers and images in memory. `changes` has keys
/// of an image, which every image gets.
void GiveDevicesTheirDrivers(const CaptureDocument& capture, const Json& changes,
                             platform::simulated::Machine& machine);

/// Fills the driver store. A package's image that only Windows could run, and a catalog that only
/// Windows could check, become those of the model: a sound one of the INF's version, with
/// `changes`.
void FillDriverStore(const CaptureDocument& capture, const Json& changes,
                     platform::simulated::Machine& machine);

}  // namespace vorn::lab

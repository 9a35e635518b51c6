#pragma once

// The volumes of a captured machine: its names with their attributes and access lists, and the
// contents that the capture has.

#include "lab/capture_document.h"

#include <string>
#include <vector>

namespace vorn::lab {

/// Adds the volumes to a machine that has none. A file without content is as many zeros. Throws
/// BadInput for what no volume could hold.
void BuildVolumes(CaptureDocument& capture, const std::vector<Bytes>& contents,
                  platform::simulated::Machine& machine, std::vector<std::string>& notes);

}  // namespace vorn::lab

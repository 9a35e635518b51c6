#pragma once

// Somebody else's devices, packages and endpoints on a simulated machine. The program must leave
// them as they are, bit for bit.

#include <string>
#include <vector>

namespace vorn::platform::simulated {

struct Machine;

/// Adds neighbours to a machine: three published packages (oem0.inf to oem2.inf), a root-enumerated
/// system device, and an audio device with a render and a capture endpoint and their records.
void AddNeighbours(Machine& machine);

/// Everything on the machine that is somebody else's, one text for each thing: foreign devices with
/// what is below them, foreign packages with their INF's bytes, endpoints of other devices, and the
/// records of those endpoints. Two machines whose texts are equal have the same neighbours.
std::vector<std::u16string> DescribeForeignParts(const Machine& machine);

}  // namespace vorn::platform::simulated

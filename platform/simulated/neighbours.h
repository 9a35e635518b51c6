#pragma once

// Devices, packages and endpoints of others on a simulated machine. The program must leave them
// unchanged, bit for bit.

#include <string>
#include <vector>

namespace vorn::platform::simulated {

struct Machine;

/// Adds neighbours to a machine: three published packages (oem0.inf to oem2.inf), a root-enumerated
/// system device, and an audio device with a render and a capture endpoint and their records.
void AddNeighbours(Machine& machine);

/// Everything on the machine that is not the product's, one text for each thing: foreign devices
/// and what is below them, foreign packages with the bytes of their INFs, endpoints of other
/// devices, and the records of those endpoints. Two machines with equal texts have the same
/// neighbours.
std::vector<std::u16string> DescribeForeignParts(const Machine& machine);

}  // namespace vorn::platform::simulated

#pragma once

// What happens to a machine between two commands of a life: what its user does, what an updater
// brings, what other programs do to files, and how Windows, the driver and the disk behave from
// then on.

#include "platform/simulated/machine.h"

#include <cstdint>
#include <span>
#include <string_view>

namespace vorn::tests {

/// An act. Its two numbers choose among its forms; an act for which the machine has nothing does
/// nothing.
struct LifeAct {
  std::string_view name;
  void (*perform)(platform::simulated::Machine& machine, std::uint8_t one, std::uint8_t two);
};

std::span<const LifeAct> LifeActs();

/// Takes every odd behaviour from Windows, the driver and the disks, and puts the sample package
/// back into its folder. What is installed stays.
void MakeWellBehaved(platform::simulated::Machine& machine);

}  // namespace vorn::tests

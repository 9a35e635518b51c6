#include "tests/support/world.h"

#include "base/text.h"
#include "platform/config_manager.h"
#include "platform/simulated/config_manager_values.h"
#include "platform/simulated/endpoint_builder.h"
#include "tests/support/machine_view.h"
#include "tests/support/sample.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace vorn::tests {

using platform::simulated::AudioEndpoint;
using platform::simulated::CableFlow;
using platform::simulated::Device;
using platform::simulated::DriverImage;
using platform::simulated::FindEndpoint;
using platform::simulated::Machine;
using platform::simulated::PackageRecipe;
using platform::simulated::SetEndpointDisabled;
using platform::simulated::SoundImage;
using platform::simulated::StopDevice;
using platform::simulated::WritePackage;

std::u16string AddPackage(Machine& machine, const std::u16string& folder,
                          const std::u16string& version, const std::u16string& date,
                          const std::function<void(DriverImage&)>& shape) {
  PackageRecipe recipe;
  recipe.version = version;
  recipe.date = date;
  recipe.image = SoundImage(version);
  if (shape) shape(*recipe.image);
  return WritePackage(machine.files, folder, recipe);
}

std::u16string AddNewPackage(Machine& machine, const std::function<void(DriverImage&)>& shape) {
  return AddPackage(machine, u"C:\\new\\driver", kNewVersion, kNewDate, shape);
}

void DisableEndpoint(Machine& machine, CableFlow cable) {
  const AudioEndpoint* const endpoint = FindEndpoint(machine, kRootId, cable);
  ASSERT_NE(endpoint, nullptr);
  SetEndpointDisabled(machine, std::u16string(endpoint->id), true);
}

void DisableEveryEndpoint(Machine& machine) {
  for (std::uint32_t cable = 0; cable < 10; ++cable) {
    DisableEndpoint(machine, {cable, 0});
    DisableEndpoint(machine, {cable, 1});
  }
}

void StopRoot(Machine& machine, std::uint32_t problem) {
  StopDevice(machine, kRootId);
  Device& root = RootOf(machine);
  root.status |= platform::DN_HAS_PROBLEM;
  root.problem = problem;
}

}  // namespace vorn::tests

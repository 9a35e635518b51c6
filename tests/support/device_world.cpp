#include "tests/support/device_world.h"

#include "platform/config_manager.h"
#include "platform/simulated/config_manager_values.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace vorn::tests {

using platform::simulated::CallRecord;
using platform::simulated::Device;
using platform::simulated::Fault;
using platform::simulated::FaultKind;
using platform::simulated::Machine;
using platform::simulated::Process;

Device& AddStartedRoot(Machine& machine, std::u16string_view instanceId) {
  Device& root = platform::simulated::AddRoot(machine, instanceId);
  root.status &= ~platform::DN_HAS_PROBLEM;
  root.status |= platform::DN_STARTED;
  root.problem = 0;
  return root;
}

Device& AddGhostRoot(Machine& machine, std::u16string_view instanceId) {
  Device& root = platform::simulated::AddRoot(machine, instanceId);
  root.present = false;
  return root;
}

Device& AddStoppedRoot(Machine& machine, std::u16string_view instanceId, std::uint32_t problem) {
  Device& root = platform::simulated::AddRoot(machine, instanceId);
  root.problem = problem;
  return root;
}

Device& AddEndpointChild(Machine& machine, std::u16string_view parent,
                         std::u16string_view instanceId) {
  Device child;
  child.instanceId = instanceId;
  child.enumerator = u"SWD";
  child.parent = parent;
  child.classGuid = platform::simulated::kAudioEndpointClass;
  child.className = u"AudioEndpoint";
  child.status = platform::DN_STARTED;
  machine.devices.devices.push_back(std::move(child));
  return machine.devices.devices.back();
}

void DeviceWorld::TearDown() {
  for (const auto& [kind, count] : process.OpenObjects()) {
    EXPECT_EQ(count, 0U) << "left open: kind " << static_cast<int>(kind);
  }
}

}  // namespace vorn::tests

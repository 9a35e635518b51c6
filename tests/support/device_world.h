#pragma once

// A machine with nothing but devices, and the process that looks at them: the ground of the tests
// that need no files, packages or services.

#include "platform/device_setup.h"
#include "platform/simulated/calls.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/process.h"
#include "tests/support/planned_faults.h"
#include "tests/support/sample.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::tests {

inline constexpr char16_t kOtherRootId[] = u"ROOT\\MEDIA\\0001";

/// A present root that is started without a problem. The reference is good until another device is
/// added.
platform::simulated::Device& AddStartedRoot(platform::simulated::Machine& machine,
                                            std::u16string_view instanceId = kRootId);

/// An installed root that is not present.
platform::simulated::Device& AddGhostRoot(platform::simulated::Machine& machine,
                                          std::u16string_view instanceId);

/// A present root that is stopped with that problem.
platform::simulated::Device& AddStoppedRoot(platform::simulated::Machine& machine,
                                            std::u16string_view instanceId, std::uint32_t problem);

/// A started child of the AudioEndpoint class.
platform::simulated::Device& AddEndpointChild(platform::simulated::Machine& machine,
                                              std::u16string_view parent,
                                              std::u16string_view instanceId);

/// A process on a machine, calls logged. At the end of each test nothing may be left open.
class DeviceWorld : public ::testing::Test {
 protected:
  DeviceWorld() { process.logCalls = true; }
  explicit DeviceWorld(platform::simulated::Machine start) : machine(std::move(start)) {
    process.logCalls = true;
  }
  void TearDown() override;

  /// How often a call was made.
  std::size_t CountOf(std::string_view name) const { return CallsOf(process, name).size(); }

  platform::simulated::Machine machine;
  platform::simulated::Process process{machine};
};

}  // namespace vorn::tests

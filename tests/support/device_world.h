#pragma once

// A machine with devices only and a process on it, for tests that need no files, packages or
// services.

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

/// Times to start a wait at: 0.7 s before the milliseconds since the machine started no longer fit
/// into 32 bits, and 0.7 s before they no longer fit into a signed 64-bit number.
inline constexpr std::uint64_t kTicksBeforeAnOverflow[] = {(std::uint64_t{1} << 32) - 700,
                                                           (std::uint64_t{1} << 63) - 700};

inline constexpr char16_t kOtherRootId[] = u"ROOT\\MEDIA\\0001";

/// Adds a present root that is started without a problem. Adding another device invalidates the
/// reference.
platform::simulated::Device& AddStartedRoot(platform::simulated::Machine& machine,
                                            std::u16string_view instanceId = kRootId);

/// Adds an installed root that is not present.
platform::simulated::Device& AddGhostRoot(platform::simulated::Machine& machine,
                                          std::u16string_view instanceId);

/// Adds a present root that is stopped with that problem.
platform::simulated::Device& AddStoppedRoot(platform::simulated::Machine& machine,
                                            std::u16string_view instanceId, std::uint32_t problem);

/// Adds a started child of the AudioEndpoint class.
platform::simulated::Device& AddEndpointChild(platform::simulated::Machine& machine,
                                              std::u16string_view parent,
                                              std::u16string_view instanceId);

/// A process whose calls are logged. Each test must end with nothing left open.
class DeviceWorld : public ::testing::Test {
 protected:
  DeviceWorld() { process.logCalls = true; }
  explicit DeviceWorld(platform::simulated::Machine start) : machine(std::move(start)) {
    process.logCalls = true;
  }
  void TearDown() override;

  /// How often a call was made.
  std::size_t CountOf(std::string_view name) const { return CallsOf(process, name).size(); }

  /// The milliseconds that have passed on the machine.
  std::uint64_t Waited() const { return machine.clock.tick - startTick_; }

  platform::simulated::Machine machine;
  platform::simulated::Process process{machine};

 private:
  std::uint64_t startTick_ = machine.clock.tick;
};

}  // namespace vorn::tests

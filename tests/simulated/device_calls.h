#pragma once

// Short forms of the platform's device calls. A call that must succeed and does not fails the test.

#include "platform/config_manager.h"
#include "platform/device_setup.h"
#include "platform/last_error.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/process.h"
#include "tests/support/sample.h"

#include <cstring>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <vector>

namespace vorn::tests {

/// A machine with a current process.
struct World {
  explicit World(platform::simulated::Machine start) : machine(std::move(start)) {}

  platform::simulated::Machine machine;
  platform::simulated::Process process{machine};

  platform::simulated::Device& Device(std::u16string_view id) {
    platform::simulated::Device* device = machine.devices.Find(id);
    if (device == nullptr) throw std::logic_error("the machine has no such device");
    return *device;
  }
  bool Has(std::u16string_view id) const { return machine.devices.Find(id) != nullptr; }
  void Wait(std::uint64_t milliseconds) { platform::simulated::Advance(machine, milliseconds); }
};

/// The number of the root's endpoints that are not unplugged or absent.
inline std::size_t CountEndpointsInView(const platform::simulated::Machine& machine) {
  std::size_t count = 0;
  for (const platform::simulated::AudioEndpoint& endpoint : machine.audio.endpoints)
    count += endpoint.root == kRootId && endpoint.state != 4 ? 1u : 0u;
  return count;
}

inline platform::SP_DEVINFO_DATA EmptyDevice() {
  platform::SP_DEVINFO_DATA data = {};
  data.cbSize = sizeof data;
  return data;
}

inline platform::HDEVINFO ListRoots(bool presentOnly) {
  return platform::SetupDiGetClassDevsW(
      nullptr, u"ROOT", platform::DIGCF_ALLCLASSES | (presentOnly ? platform::DIGCF_PRESENT : 0u));
}

inline std::u16string InstanceIdOf(platform::HDEVINFO list,
                                   const platform::SP_DEVINFO_DATA& device) {
  char16_t id[256] = {};
  EXPECT_TRUE(platform::SetupDiGetDeviceInstanceIdW(list, &device, id, 256, nullptr));
  return id;
}

/// The ids in a list, in order; the enumeration must end as documented.
inline std::vector<std::u16string> IdsOf(platform::HDEVINFO list) {
  std::vector<std::u16string> ids;
  platform::SP_DEVINFO_DATA device = EmptyDevice();
  for (std::uint32_t i = 0; platform::SetupDiEnumDeviceInfo(list, i, &device); ++i)
    ids.push_back(InstanceIdOf(list, device));
  EXPECT_EQ(platform::GetLastError(), platform::ERROR_NO_MORE_ITEMS);
  return ids;
}

/// The element of a device in a list.
inline platform::SP_DEVINFO_DATA ElementOf(platform::HDEVINFO list, std::u16string_view id) {
  platform::SP_DEVINFO_DATA device = EmptyDevice();
  for (std::uint32_t i = 0; platform::SetupDiEnumDeviceInfo(list, i, &device); ++i) {
    if (InstanceIdOf(list, device) == id) return device;
  }
  ADD_FAILURE() << "the list has no such device";
  return EmptyDevice();
}

/// The device node of a device; 0 when it has none.
inline platform::DEVINST NodeOf(const char16_t* id) {
  platform::DEVINST node = 0;
  return platform::CM_Locate_DevNodeW(&node, id, 0) == platform::CR_SUCCESS ? node : 0;
}

struct NodeState {
  platform::CONFIGRET result;
  std::uint32_t status;
  std::uint32_t problem;
};
inline NodeState StateOf(platform::DEVINST node) {
  NodeState state = {};
  state.result = platform::CM_Get_DevNode_Status(&state.status, &state.problem, node);
  return state;
}

/// Binds the package of `inf` with force and returns whether a restart is needed; nothing on
/// failure.
inline std::optional<bool> Update(const char16_t* inf) {
  bool restart = false;
  const bool updated = platform::UpdateDriverForPlugAndPlayDevicesW(
      kSampleHardwareId, inf, platform::INSTALLFLAG_FORCE, &restart);
  return updated ? std::optional(restart) : std::nullopt;
}

/// DIF_REMOVE with the global parameter block.
inline bool RemoveFrom(platform::HDEVINFO list, const platform::SP_DEVINFO_DATA& device) {
  const platform::SP_REMOVEDEVICE_PARAMS parameters = {
      {sizeof(platform::SP_CLASSINSTALL_HEADER), platform::DIF_REMOVE},
      platform::DI_REMOVEDEVICE_GLOBAL,
      0};
  return platform::SetupDiSetClassInstallParamsW(list, &device, &parameters.ClassInstallHeader,
                                                 sizeof parameters) &&
         platform::SetupDiCallClassInstaller(platform::DIF_REMOVE, list, &device);
}

/// DIF_PROPERTYCHANGE with DICS_PROPCHANGE.
inline bool RestartFrom(platform::HDEVINFO list, const platform::SP_DEVINFO_DATA& device) {
  const platform::SP_PROPCHANGE_PARAMS parameters = {
      {sizeof(platform::SP_CLASSINSTALL_HEADER), platform::DIF_PROPERTYCHANGE},
      platform::DICS_PROPCHANGE,
      platform::DICS_FLAG_CONFIGSPECIFIC,
      0};
  return platform::SetupDiSetClassInstallParamsW(list, &device, &parameters.ClassInstallHeader,
                                                 sizeof parameters) &&
         platform::SetupDiCallClassInstaller(platform::DIF_PROPERTYCHANGE, list, &device);
}

/// The DI_ flags that a device's installation parameters hold.
inline std::uint32_t InstallFlagsOf(platform::HDEVINFO list,
                                    const platform::SP_DEVINFO_DATA& device) {
  platform::SP_DEVINSTALL_PARAMS_W parameters = {};
  parameters.cbSize = sizeof parameters;
  EXPECT_TRUE(platform::SetupDiGetDeviceInstallParamsW(list, &device, &parameters));
  return parameters.Flags;
}

}  // namespace vorn::tests

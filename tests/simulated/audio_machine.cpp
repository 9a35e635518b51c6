#include "tests/simulated/audio_machine.h"

#include "base/text.h"
#include "platform/audio_endpoints.h"
#include "platform/config_manager.h"
#include "platform/simulated/device_io.h"
#include "platform/simulated/endpoint_builder.h"
#include "tests/support/sample.h"

#include <algorithm>

namespace vorn::platform::simulated {

using tests::kSampleHardwareId;

Machine StartedMachine(DriverImage image) {
  Machine machine;
  machine.services[kEndpointBuilderService] = {};
  machine.services[kAudioService] = {};
  MakeEndpointRecordKeys(machine);
  Device root;
  root.instanceId = kRootId;
  root.enumerator = u"ROOT";
  root.classGuid = kMediaClass;
  root.hardwareIds = {kSampleHardwareId};
  root.status = DN_STARTED;
  root.interfaces = {{kControlInterfaceClass, kControlPath}, {kAudioInterfaceClass, kAudioPath}};
  root.resident = std::move(image);
  machine.devices.devices.push_back(std::move(root));
  return machine;
}

Machine PublishedMachine(DriverImage image) {
  Machine machine = StartedMachine(std::move(image));
  PublishEndpoints(machine, kRootId);
  return machine;
}

void Restart(Machine& machine, DriverImage image) {
  EndControlSessions(*machine.devices.Find(kRootId));
  WithdrawEndpoints(machine, kRootId);
  machine.devices.Find(kRootId)->resident = std::move(image);
  BuildEndpointsSoon(machine, kRootId);
}

std::size_t CountEndpoints(const Machine& machine, std::uint32_t stateMask) {
  const auto& endpoints = machine.audio.endpoints;
  return static_cast<std::size_t>(
      std::count_if(endpoints.begin(), endpoints.end(), [&](const AudioEndpoint& endpoint) {
        return endpoint.root == kRootId && (endpoint.state & stateMask) != 0;
      }));
}

std::size_t CountStartedChildren(const Machine& machine) {
  const auto& devices = machine.devices.devices;
  return static_cast<std::size_t>(std::count_if(
      devices.begin(), devices.end(),
      [](const Device& device) { return device.parent == kRootId && IsStarted(device); }));
}

const Device* FindChildDevice(const Machine& machine, std::u16string_view endpointId) {
  return machine.devices.Find(u"SWD\\MMDEVAPI\\" + std::u16string(endpointId));
}

std::optional<std::uint32_t> ReadDword(const Machine& machine, std::u16string_view path,
                                       std::u16string_view name) {
  const RegistryValue* value = FindValue(machine.registry, path, name);
  if (value == nullptr || value->data.size() != 4) return std::nullopt;
  std::uint32_t number = 0;
  for (std::size_t i = 4; i-- > 0;)
    number = number << 8 | value->data[i];
  return number;
}

}  // namespace vorn::platform::simulated

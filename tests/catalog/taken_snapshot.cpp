#include "tests/catalog/taken_snapshot.h"

#include "base/format.h"
#include "platform/audio_endpoints.h"
#include "platform/simulated/audio_values.h"
#include "product/endpoint_identity.h"

#include <gtest/gtest.h>
#include <utility>

namespace vorn::tests {

using platform::simulated::AudioEndpoint;
using platform::simulated::CableProperty;
using platform::simulated::Fault;
using platform::simulated::Machine;
using platform::simulated::Process;

namespace {

constexpr char16_t kFilter[] =
    u"{2}.\\\\?\\root#media#0000#{6994ad04-93ef-11d0-a3cc-00a0c9223196}\\wave0";

}  // namespace

AudioEndpoint Endpoint(std::uint32_t cable, bool capture) {
  AudioEndpoint endpoint;
  endpoint.id = Format(u"{0.0.%u.00000000}.{%u}", capture ? 1u : 0u, cable);
  endpoint.capture = capture;
  endpoint.state = platform::DEVICE_STATE_ACTIVE;
  endpoint.cable = CableProperty{platform::VT_UI4, cable};
  endpoint.connectedTo = kFilter;
  endpoint.root = kCatalogRoot;
  return endpoint;
}

Machine MachineWith(std::vector<AudioEndpoint> endpoints) {
  Machine machine;
  machine.services[u"AudioEndpointBuilder"] = {};
  machine.services[u"Audiosrv"] = {};
  machine.audio.endpoints = std::move(endpoints);
  return machine;
}

std::vector<AudioEndpoint> AllEndpoints() {
  std::vector<AudioEndpoint> endpoints;
  for (std::uint32_t cable = 0; cable < kCableCount; ++cable) {
    endpoints.push_back(Endpoint(cable, false));
    endpoints.push_back(Endpoint(cable, true));
  }
  return endpoints;
}

Ids InstanceIds(const std::vector<AudioEndpoint>& endpoints) {
  Ids ids;
  for (const AudioEndpoint& endpoint : endpoints) {
    if (endpoint.state == platform::DEVICE_STATE_ACTIVE) {
      ids.push_back(u"SWD\\MMDEVAPI\\" + endpoint.id);
    }
  }
  return ids;
}

std::uint32_t Taken::CountOf(std::string_view name) const {
  const auto* const found = callCounts.find(name);
  return found == nullptr ? 0 : found->second;
}

Taken Snapshot(Machine& machine, const Ids& children, PnpComparison comparison,
               std::vector<Fault> faults) {
  Process process(machine);
  process.logCalls = true;
  process.faults = std::move(faults);
  Taken taken;
  taken.snapshot = TakeCatalogSnapshot(kCatalogRoot, children, comparison);
  taken.calls = process.calls;
  taken.callCount = process.callCount;
  taken.callCounts = process.callCounts;
  taken.apartments = process.comInitialized;
  taken.open = process.OpenObjects();
  std::erase_if(taken.open, [](const auto& kind) { return kind.second == 0; });
  EXPECT_EQ(taken.snapshot.ok, taken.snapshot.reason.empty());
  EXPECT_TRUE(process.console.empty());
  return taken;
}

Taken Snapshot(std::vector<AudioEndpoint> endpoints) {
  Machine machine = MachineWith(std::move(endpoints));
  return Snapshot(machine, {}, PnpComparison::None);
}

void ExpectNothingLeft(const Taken& taken) {
  EXPECT_EQ(taken.apartments, 0);
  EXPECT_TRUE(taken.open.empty());
}

}  // namespace vorn::tests

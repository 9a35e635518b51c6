#include "tests/support/activation.h"

#include "base/text.h"
#include "catalog/catalog_snapshot.h"
#include "catalog/endpoint_sets.h"
#include "devnode/root_discovery.h"
#include "journal/activation_storage.h"
#include "package/content_hash.h"
#include "package/driver_identity.h"
#include "package/inf_identity.h"
#include "privileged_input/protected_files.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <utility>

namespace vorn::tests {

using platform::simulated::CallRecord;
using platform::simulated::Device;
using platform::simulated::Fault;
using platform::simulated::FaultKind;
using platform::simulated::Machine;
using platform::simulated::Process;

Device& RootOf(Machine& machine) {
  Device* root = machine.devices.Find(kRootId);
  EXPECT_NE(root, nullptr) << "the machine has no root device";
  return *root;
}

ActivationState FreshTarget(Machine& machine, const std::u16string& infPath) {
  Process process(machine);
  ActivationState state;
  state.fresh = true;
  state.service = kDriverServiceName;
  EXPECT_TRUE(ReadExpectedDriverVer(infPath, nullptr, state.date, state.version));
  EXPECT_TRUE(HashFileSha256(infPath, nullptr, state.infSha256));
  privileged_input::ReleaseProtectedFiles();
  return state;
}

ActivationState UpdateTarget(Machine& machine, const std::u16string& infPath) {
  ActivationState state = FreshTarget(machine, infPath);
  Process process(machine);
  const LiveRoot root = DiscoverLiveRoot();
  EXPECT_TRUE(root.ok);
  state.fresh = false;
  state.catalog = TakeCatalogSnapshot(root.instanceId, {}, false).endpoints;
  EXPECT_TRUE(ComputeExpectedPresent(state.catalog, root.endpointChildren, &state.present).ok);
  return state;
}

void PutJournal(Machine& machine, const ActivationState& state, const std::u16string& path) {
  Process process(machine);
  EXPECT_TRUE(WriteActivationState(path, state));
  privileged_input::ReleaseProtectedFiles();
}

std::string ProvenLine(Machine& machine, std::size_t active, std::size_t present) {
  return "vorn_devnode: RESULT=OK - root=ROOT\\MEDIA\\0000, package=08/10/2026 26.8.10.5 (" +
         ToUtf8(RootOf(machine).publishedInf) + "), catalog=20, active=" + std::to_string(active) +
         ", present-pnp=" + std::to_string(present) + ", kernel=20\n";
}

std::uint32_t EngineRun::CountOf(std::string_view name) const {
  const auto found = callCounts.find(name);
  return found == callCounts.end() ? 0 : found->second;
}

std::size_t EngineRun::Sleeps(std::uint32_t milliseconds) const {
  return static_cast<std::size_t>(
      std::count_if(calls.begin(), calls.end(), [&](const CallRecord& call) {
        return call.name == "Sleep" &&
               call.Argument("milliseconds") == std::to_string(milliseconds);
      }));
}

EngineRun RunEngine(Machine& machine, const ActivationState& state, VerificationMode mode,
                    std::vector<Fault> faults) {
  Process process(machine);
  process.logCalls = true;
  process.faults = std::move(faults);
  const std::uint64_t begin = machine.clock.tick;
  EngineRun run;
  run.status = RunLiveVerification(state, mode);
  run.duration = machine.clock.tick - begin;
  run.output = process.Output();
  run.errorOutput = process.ErrorOutput();
  run.openObjects = process.OpenObjects();
  std::erase_if(run.openObjects, [](const auto& kind) { return kind.second == 0; });
  run.apartments = process.comInitialized;
  run.calls = std::move(process.calls);
  run.callCounts = std::move(process.callCounts);
  run.callCount = process.callCount;
  return run;
}

}  // namespace vorn::tests

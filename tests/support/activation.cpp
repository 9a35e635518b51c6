#include "tests/support/activation.h"

#include "base/text.h"
#include "catalog/catalog_snapshot.h"
#include "catalog/endpoint_sets.h"
#include "devnode/root_discovery.h"
#include "journal/activation_storage.h"
#include "package/inf_identity.h"
#include "privileged_input/input_file.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <optional>
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
  const std::optional<DriverIdentity> target =
      ReadIdentity(privileged_input::OpenInputFile(infPath));
  EXPECT_TRUE(target.has_value());
  state.target = target.value_or(DriverIdentity{});
  return state;
}

ActivationState UpdateTarget(Machine& machine, const std::u16string& infPath) {
  ActivationState state = FreshTarget(machine, infPath);
  Process process(machine);
  const LiveRoot root = DiscoverLiveRoot();
  EXPECT_TRUE(root.ok);
  state.fresh = false;
  state.catalog = TakeCatalogSnapshot(root.instanceId, {}, PnpComparison::None).endpoints;
  EXPECT_TRUE(ComputeExpectedPresent(state.catalog, root.endpointChildren, &state.present).ok);
  return state;
}

void PutJournal(Machine& machine, const ActivationState& state, const std::u16string& path) {
  Process process(machine);
  privileged_input::ProtectedFiles files;
  EXPECT_TRUE(Journal(files, privileged_input::AbsolutePath::Parse(path)).Write(state));
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
                    std::vector<Fault> faults, PackageChange change) {
  Process process(machine);
  process.logCalls = true;
  process.faults = std::move(faults);
  const std::uint64_t begin = machine.clock.tick;
  EngineRun run;
  run.status = RunLiveVerification(state, mode, change);
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

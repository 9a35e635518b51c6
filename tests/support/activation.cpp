#include "tests/support/activation.h"

#include "base/text.h"
#include "catalog/catalog_snapshot.h"
#include "catalog/endpoint_sets.h"
#include "devnode/root_discovery.h"
#include "journal/activation_storage.h"
#include "package/inf_identity.h"
#include "privileged_input/input_file.h"
#include "privileged_input/protected_files.h"
#include "tests/support/machine_view.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <optional>
#include <utility>

namespace vorn::tests {

using platform::simulated::CallRecord;
using platform::simulated::Fault;
using platform::simulated::FaultKind;
using platform::simulated::Machine;
using platform::simulated::Process;
using platform::simulated::ReadWholeFile;

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

std::optional<ActivationState> JournalIn(const Machine& machine, std::u16string_view path) {
  if (!HasFile(machine, path)) return std::nullopt;
  const auto journal = ReadableJournalIn(machine, path);
  EXPECT_TRUE(journal.has_value()) << ToUtf8(path) << " holds no journal";
  return journal;
}

std::optional<ActivationState> ReadableJournalIn(const Machine& machine, std::u16string_view path) {
  const auto bytes = ReadWholeFile(machine.files, path);
  if (!bytes) return std::nullopt;
  std::u16string text;
  for (std::size_t i = 0; i + 1 < bytes->size(); i += 2)
    text.push_back(static_cast<char16_t>((*bytes)[i] | (*bytes)[i + 1] << 8));
  return ParseActivationState(text);
}

ConsoleLine ProvenLine(Machine& machine, std::size_t active, std::size_t present) {
  return Out("vorn_devnode: RESULT=OK - root=ROOT\\MEDIA\\0000, package=08/10/2026 26.8.10.5 (" +
             ToUtf8(RootOf(machine).publishedInf) + "), catalog=20, active=" +
             std::to_string(active) + ", present-pnp=" + std::to_string(present) + ", kernel=20");
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
  process.Return();
  run.duration = machine.clock.tick - begin;
  run.console = ConsoleOf(process.console);
  run.openObjects = process.OpenObjects();
  std::erase_if(run.openObjects, [](const auto& kind) { return kind.second == 0; });
  run.apartments = process.comInitialized;
  run.calls = std::move(process.calls);
  run.callCounts = std::move(process.callCounts);
  run.callCount = process.callCount;
  return run;
}

}  // namespace vorn::tests

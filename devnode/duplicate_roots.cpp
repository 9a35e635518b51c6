#include "devnode/duplicate_roots.h"

#include "base/text.h"
#include "devnode/class_installer.h"
#include "devnode/device_reads.h"
#include "devnode/node_status.h"
#include "devnode/root_candidate.h"
#include "devnode/root_discovery.h"
#include "devnode/root_walk.h"
#include "platform/clock.h"
#include "platform/config_manager.h"
#include "report/console.h"

#include <optional>
#include <string>
#include <vector>

namespace vorn {

namespace {

constexpr std::uint32_t kSettleTimeoutMs = 30'000;
constexpr std::uint32_t kSettlePollMs = 500;

struct Removals {
  std::int32_t count = 0;
  bool restartPending = false;
};

void ReadNode(RootCandidate& candidate) {
  platform::DEVINST node = 0;
  candidate.located =
      platform::CM_Locate_DevNodeW(&node, candidate.instanceId.c_str(),
                                   platform::CM_LOCATE_DEVNODE_NORMAL) == platform::CR_SUCCESS;
  if (!candidate.located) return;
  if (const std::optional<NodeStatus> status = ReadNodeStatus(node)) {
    candidate.started = status->started;
    candidate.problem = status->problem;
  }
}

/// False when not every installed root could be read.
bool ListCandidates(platform::HDEVINFO list, std::vector<RootCandidate>& candidates) {
  RootWalk walk(list);
  for (RootCandidate candidate; walk.Next(candidate.device); candidate = {}) {
    std::optional<std::u16string> id = ReadInstanceId(list, candidate.device);
    if (!id) return false;
    candidate.instanceId = std::move(*id);
    ReadNode(candidate);
    candidates.push_back(candidate);
  }
  return walk.SawEveryDevice();
}

/// False after a failed call, which is reported.
bool RemoveDuplicate(platform::HDEVINFO list, const platform::SP_DEVINFO_DATA& device,
                     Removals& removals) {
  if (!SetRemoveParameters(list, device)) {
    return ReportFailedCall(u"SetupDiSetClassInstallParams(DIF_REMOVE duplicate)");
  }
  if (!platform::SetupDiCallClassInstaller(platform::DIF_REMOVE, list, &device)) {
    return ReportFailedCall(u"SetupDiCallClassInstaller(DIF_REMOVE duplicate)");
  }
  ++removals.count;
  const std::optional<bool> restartNeeded = ReadRestartNeeded(list, device);
  if (!restartNeeded) return ReportFailedCall(u"SetupDiGetDeviceInstallParams(duplicate)");
  removals.restartPending = removals.restartPending || *restartNeeded;
  return true;
}

/// Removes every candidate but the kept one; stops at the first failure.
bool RemoveDuplicates(platform::HDEVINFO list, const std::vector<RootCandidate>& candidates,
                      std::optional<std::size_t> kept, Removals& removals) {
  for (std::size_t i = 0; i < candidates.size(); ++i) {
    if (i == kept) continue;
    if (!RemoveDuplicate(list, candidates[i].device, removals)) return false;
  }
  return true;
}

bool IsOnly(const std::vector<std::u16string>& ids, const std::optional<std::u16string>& keptId) {
  if (!keptId) return ids.empty();
  return ids.size() == 1 && EqualsIgnoringCase(ids.front(), *keptId);
}

/// Waits until only the kept root is present, a listing fails or the time is up.
RootListing WaitForOnlyRoot(const std::optional<std::u16string>& keptId) {
  const std::uint64_t deadline = platform::GetTickCount64() + kSettleTimeoutMs;
  for (;;) {
    RootListing remains = ListPresentRootIds();
    if (!remains.complete || IsOnly(remains.ids, keptId) ||
        platform::GetTickCount64() >= deadline) {
      return remains;
    }
    platform::Sleep(kSettlePollMs);
  }
}

void Report(const PruneResult& result, std::int32_t removed) {
  if (!result.ok && result.restartPending) {
    PrintError(
        u"vorn_devnode: RESULT=DUPLICATE_CLEANUP_REBOOT - duplicate removal is deferred; %zu "
        u"present roots remain\n",
        std::size_t{result.remaining});
  } else if (!result.ok) {
    PrintError(
        u"vorn_devnode: duplicate-root cleanup could not prove the selected live generation\n");
  }
  if (removed > 0) {
    Print(u"vorn_devnode: removed %d duplicate/ghost Root\\VornAudio devnode(s)%ls\n", removed,
          result.restartPending ? u" (restart pending)" : u"");
  }
}

}  // namespace

PruneResult PruneDuplicateRoots() {
  platform::DeviceInfoList installed = OpenRootDevices(RootScope::Installed);
  if (!installed) {
    ReportFailedCall(u"SetupDiGetClassDevs(prune)");
    return {};
  }
  std::vector<RootCandidate> candidates;
  const bool listed = ListCandidates(installed.Get(), candidates);
  const std::optional<std::size_t> kept = ChooseRootToKeep(candidates);
  Removals removals;
  const bool removed = listed && RemoveDuplicates(installed.Get(), candidates, kept, removals);
  installed.Reset();

  std::optional<std::u16string> keptId;
  if (kept) keptId = candidates[*kept].instanceId;
  const RootListing remains = WaitForOnlyRoot(keptId);
  const PruneResult result = {.ok = removed && remains.complete && IsOnly(remains.ids, keptId),
                              .remaining = static_cast<std::uint32_t>(remains.ids.size()),
                              .restartPending = removals.restartPending};
  Report(result, removals.count);
  return result;
}

}  // namespace vorn

#include "devnode/root_discovery.h"

#include "base/text.h"
#include "devnode/device_reads.h"
#include "devnode/endpoint_children.h"
#include "devnode/node_status.h"
#include "devnode/root_walk.h"
#include "platform/clock.h"

#include <optional>
#include <utility>

namespace vorn {

namespace {

constexpr std::uint32_t kStartPollMs = 500;

void ReadBoundDriver(platform::HDEVINFO list, const platform::SP_DEVINFO_DATA& device,
                     LiveRoot& root) {
  root.driverVersion = ReadStringProperty(list, device, platform::DEVPKEY_Device_DriverVersion);
  root.service = ReadStringProperty(list, device, platform::DEVPKEY_Device_Service);
  root.driverInfPath = ReadStringProperty(list, device, platform::DEVPKEY_Device_DriverInfPath);
}

void ReadDetails(platform::HDEVINFO list, const platform::SP_DEVINFO_DATA& device, RootFacts facts,
                 LiveRoot& root) {
  root.instanceId = ReadInstanceId(list, device).value_or(u"");
  if (facts == RootFacts::All) ReadBoundDriver(list, device, root);
  if (const std::optional<NodeStatus> status = ReadNodeStatus(device.DevInst)) {
    root.startedCleanly = status->IsStartedCleanly();
    root.disabled = status->problem == platform::CM_PROB_DISABLED;
  }
  if (facts != RootFacts::State) {
    root.endpointChildren = ListStartedEndpointChildren(device.DevInst);
  }
}

/// Why the root is not ok; empty if it is.
std::u16string JudgeLiveRoot(const LiveRoot& root) {
  if (root.presentCount == 0) return u"no present Root\\VornAudio devnode";
  if (root.presentCount > 1) return u"multiple present Root\\VornAudio devnodes";
  if (root.instanceId.empty()) return u"present VORN root has no device instance id";
  if (!root.startedCleanly) return u"present VORN root is not started cleanly";
  return {};
}

std::optional<NodeStatus> LookAtFirstRoot() {
  const platform::DeviceInfoList roots = OpenRootDevices(RootScope::Present);
  platform::SP_DEVINFO_DATA root = {};
  if (!roots || !RootWalk(roots.Get()).Next(root)) return std::nullopt;
  return ReadNodeStatus(root.DevInst);
}

}  // namespace

LiveRoot DiscoverLiveRoot(RootFacts facts) {
  LiveRoot root;
  platform::DeviceInfoList list = OpenRootDevices(RootScope::Present);
  if (!list) {
    root.reason = u"SetupDiGetClassDevs(live root) failed";
    return root;
  }
  RootWalk walk(list.Get());
  for (platform::SP_DEVINFO_DATA device = {}; walk.Next(device);) {
    if (++root.presentCount == 1) ReadDetails(list.Get(), device, facts, root);
  }
  list.Reset();
  root.reason = JudgeLiveRoot(root);
  root.ok = root.reason.empty();
  if (root.ok) SortByUnits(root.endpointChildren);
  return root;
}

std::optional<std::int32_t> CountInstalledRoots() {
  const platform::DeviceInfoList list = OpenRootDevices(RootScope::Installed);
  if (!list) return std::nullopt;
  RootWalk walk(list.Get());
  std::int32_t count = 0;
  for (platform::SP_DEVINFO_DATA device = {}; walk.Next(device);)
    ++count;
  if (!walk.SawEveryDevice()) return std::nullopt;
  return count;
}

RootListing ListPresentRootIds() {
  RootListing listing;
  const platform::DeviceInfoList list = OpenRootDevices(RootScope::Present);
  if (!list) return listing;
  RootWalk walk(list.Get());
  bool everyIdRead = true;
  for (platform::SP_DEVINFO_DATA device = {}; everyIdRead && walk.Next(device);) {
    std::optional<std::u16string> id = ReadInstanceId(list.Get(), device);
    everyIdRead = id.has_value();
    if (id) listing.ids.push_back(std::move(*id));
  }
  SortByUnits(listing.ids);
  listing.complete = everyIdRead && walk.SawEveryDevice();
  return listing;
}

StartWait WaitForStartedRoot(std::uint32_t timeoutMs) {
  const std::uint64_t deadline = platform::GetTickCount64() + timeoutMs;
  StartWait wait;
  for (;;) {
    if (const std::optional<NodeStatus> status = LookAtFirstRoot()) {
      if (status->IsStartedCleanly()) return {.started = true, .problem = wait.problem};
      wait.problem = status->problem;
    }
    if (platform::GetTickCount64() >= deadline) return wait;
    platform::Sleep(kStartPollMs);
  }
}

}  // namespace vorn

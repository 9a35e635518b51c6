#include "verify/resume_endpoints.h"

#include "control/control_channel.h"
#include "control/visibility_requests.h"
#include "devnode/root_discovery.h"
#include "report/console.h"

#include <cstdint>

namespace vorn {

namespace {

/// Returns how many endpoints could not be shown, after printing each.
std::int32_t ShowEveryEndpoint(platform::HANDLE channel) {
  std::int32_t failed = 0;
  for (const EndpointIdentity& endpoint : AllEndpointIdentities()) {
    const ControlAnswer answer = SetCableVisibility(channel, endpoint, Visibility::Shown);
    if (answer.succeeded) continue;
    ++failed;
    PrintError(u"vorn_devnode: resume-endpoints: cable %lu %ls failed (error 0x%08lX)\n",
               endpoint.cableIndex, FlowName(endpoint.capture), answer.error);
  }
  return failed;
}

}  // namespace

ExitStatus ResumeEndpoints() {
  const LiveRoot root = DiscoverLiveRoot(RootFacts::State);
  if (!root.ok || root.instanceId.empty()) {
    PrintError(u"vorn_devnode: resume-endpoints: no live VORN root: %ls\n", root.reason);
    return kExitNotStarted;
  }
  ControlChannel channel = OpenRootControlChannel(root.instanceId);
  if (!channel.handle) {
    PrintError(u"vorn_devnode: resume-endpoints: %ls\n", channel.reason);
    return kExitNotStarted;
  }
  // As a last resort this accepts even a short reply.
  const ControlAnswer lease = AcquireControllerLease(channel.handle.Get());
  if (!lease.succeeded) {
    PrintError(u"vorn_devnode: resume-endpoints: controller lease unavailable (error 0x%08lX)\n",
               lease.error);
    return kExitHotSwapFailed;
  }
  const std::int32_t failed = ShowEveryEndpoint(channel.handle.Get());
  ReleaseControllerLease(channel.handle.Get());
  channel.handle.Reset();
  Print(u"vorn_devnode: resume-endpoints: %d shown, %d failed\n",
        static_cast<std::int32_t>(kEndpointCount) - failed, failed);
  return failed == 0 ? kExitOk : kExitEndpointsMissing;
}

}  // namespace vorn

#include "control/endpoint_quiesce.h"

#include "control/control_channel.h"
#include "control/control_protocol.h"
#include "control/visibility_requests.h"
#include "report/console.h"

#include <utility>

namespace vorn {

namespace {

bool HideEndpoints(platform::HANDLE channel, std::vector<EndpointIdentity>& hidden) {
  bool everyHidden = true;
  for (const EndpointIdentity& endpoint : AllEndpointIdentities()) {
    const ControlAnswer answer = SetCableVisibility(channel, endpoint, false);
    if (answer.succeeded) {
      hidden.push_back(endpoint);
      continue;
    }
    everyHidden = false;
    PrintError(u"vorn_devnode: could not hide cable %lu %ls (error 0x%08lX)\n", endpoint.cableIndex,
               FlowName(endpoint.capture), answer.error);
  }
  return everyHidden;
}

bool ShowEndpoints(platform::HANDLE channel, std::vector<EndpointIdentity>& hidden) {
  bool everyShown = true;
  for (const EndpointIdentity& endpoint : hidden) {
    const ControlAnswer answer = SetCableVisibility(channel, endpoint, true);
    if (answer.succeeded) continue;
    everyShown = false;
    PrintError(u"vorn_devnode: could not re-show cable %lu %ls (error 0x%08lX)\n",
               endpoint.cableIndex, FlowName(endpoint.capture), answer.error);
  }
  // After any failure all are tried again: showing what is shown does no harm.
  if (everyShown) hidden.clear();
  return everyShown;
}

}  // namespace

bool QuiesceEndpoints(QuiesceGuard& guard, QuiesceMode mode) {
  std::u16string reason;
  const KernelHandle channel = OpenRootControlChannel(guard.rootInstanceId_, &reason);
  if (!channel) {
    PrintError(u"vorn_devnode: driver quiesce could not open the device: %ls\n", reason);
    return false;
  }
  const ControlAnswer lease = AcquireControllerLease(channel.Get());
  if (!lease.succeeded || lease.bytes < sizeof(LeaseReply)) {
    PrintError(
        u"vorn_devnode: driver quiesce could not acquire the controller lease (error 0x%08lX)\n",
        lease.error);
    return false;
  }
  const bool done = mode == QuiesceMode::Hide ? HideEndpoints(channel.Get(), guard.hidden_)
                                              : ShowEndpoints(channel.Get(), guard.hidden_);
  ReleaseControllerLease(channel.Get());
  return done;
}

QuiesceGuard::QuiesceGuard(std::u16string rootInstanceId)
    : rootInstanceId_(std::move(rootInstanceId)) {}

QuiesceGuard::~QuiesceGuard() {
  if (!hidden_.empty()) QuiesceEndpoints(*this, QuiesceMode::Show);
}

}  // namespace vorn

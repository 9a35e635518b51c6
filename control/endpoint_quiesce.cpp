#include "control/endpoint_quiesce.h"

#include "control/control_channel.h"
#include "control/control_protocol.h"
#include "control/visibility_requests.h"
#include "report/console.h"

namespace vorn {

namespace {

bool HideEndpoints(platform::HANDLE channel, std::vector<EndpointIdentity>& hidden) {
  bool everyHidden = true;
  for (const EndpointIdentity& endpoint : AllEndpointIdentities()) {
    const ControlAnswer answer = SetCableVisibility(channel, endpoint, Visibility::Hidden);
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
    const ControlAnswer answer = SetCableVisibility(channel, endpoint, Visibility::Shown);
    if (answer.succeeded) continue;
    everyShown = false;
    PrintError(u"vorn_devnode: could not re-show cable %lu %ls (error 0x%08lX)\n",
               endpoint.cableIndex, FlowName(endpoint.capture), answer.error);
  }
  // After a failure the next call tries all again: showing an endpoint twice does no harm.
  if (everyShown) hidden.clear();
  return everyShown;
}

/// Runs `exchange` on an open channel under the controller lease and returns its result; false,
/// after printing why, without a channel or a lease.
template <class Exchange>
bool QuiesceEndpoints(const std::u16string& rootInstanceId, Exchange exchange) {
  const ControlChannel channel = OpenRootControlChannel(rootInstanceId);
  if (!channel.handle) {
    PrintError(u"vorn_devnode: driver quiesce could not open the device: %ls\n", channel.reason);
    return false;
  }
  const ControlAnswer lease = AcquireControllerLease(channel.handle.Get());
  if (!lease.succeeded || lease.bytes < sizeof(LeaseReply)) {
    PrintError(
        u"vorn_devnode: driver quiesce could not acquire the controller lease (error 0x%08lX)\n",
        lease.error);
    return false;
  }
  const bool done = exchange(channel.handle.Get());
  ReleaseControllerLease(channel.handle.Get());
  return done;
}

}  // namespace

QuiesceGuard::~QuiesceGuard() {
  if (!hidden_.empty()) Show();
}

bool QuiesceGuard::Hide() {
  return QuiesceEndpoints(rootInstanceId_, [this](platform::HANDLE channel) {
    return HideEndpoints(channel, hidden_);
  });
}

bool QuiesceGuard::Show() {
  return QuiesceEndpoints(rootInstanceId_, [this](platform::HANDLE channel) {
    return ShowEndpoints(channel, hidden_);
  });
}

}  // namespace vorn

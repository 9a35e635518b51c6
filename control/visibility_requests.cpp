#include "control/visibility_requests.h"

#include "control/control_protocol.h"

namespace vorn {

ControlAnswer AcquireControllerLease(platform::HANDLE channel) {
  const LeaseRequest request;
  LeaseReply reply;
  return SendControlRequest(channel, kAcquireLeaseCode, &request, sizeof request, &reply,
                            sizeof reply);
}

ControlAnswer SetCableVisibility(platform::HANDLE channel, const EndpointIdentity& endpoint,
                                 Visibility visibility) {
  const CableVisibilityRequest request = {.cableIndex = endpoint.cableIndex,
                                          .flow = endpoint.capture ? 1U : 0U,
                                          .visible = static_cast<std::uint32_t>(visibility)};
  return SendControlRequest(channel, kSetCableVisibilityCode, &request, sizeof request, nullptr, 0);
}

void ReleaseControllerLease(platform::HANDLE channel) {
  const LeaseRequest request;
  SendControlRequest(channel, kReleaseLeaseCode, &request, sizeof request, nullptr, 0);
}

}  // namespace vorn

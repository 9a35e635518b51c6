#pragma once

// The requests that hide and show endpoints, over an open control channel: the controller lease,
// one endpoint's visibility, and the end of the lease.

#include "control/control_request.h"
#include "platform/types.h"
#include "product/endpoint_identity.h"

namespace vorn {

/// Asks for the controller lease, under which visibility may be set. A whole answer has
/// sizeof(LeaseReply) bytes.
ControlAnswer AcquireControllerLease(platform::HANDLE channel);

/// Whether users see an endpoint.
enum class Visibility : std::uint32_t { Hidden = 0, Shown = 1 };

/// Shows or hides one endpoint.
ControlAnswer SetCableVisibility(platform::HANDLE channel, const EndpointIdentity& endpoint,
                                 Visibility visibility);

/// Gives the lease back; a failure changes nothing.
void ReleaseControllerLease(platform::HANDLE channel);

}  // namespace vorn

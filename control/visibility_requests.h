#pragma once

// The requests that hide and show endpoints over an open control channel.

#include "control/control_request.h"
#include "platform/types.h"
#include "product/endpoint_identity.h"

namespace vorn {

/// Acquires the controller lease, which setting visibility requires. A complete answer has
/// sizeof(LeaseReply) bytes.
ControlAnswer AcquireControllerLease(platform::HANDLE channel);

enum class Visibility : std::uint32_t { Hidden = 0, Shown = 1 };

ControlAnswer SetCableVisibility(platform::HANDLE channel, const EndpointIdentity& endpoint,
                                 Visibility visibility);

/// Releases the lease; a failure is ignored.
void ReleaseControllerLease(platform::HANDLE channel);

}  // namespace vorn

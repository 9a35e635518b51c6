#pragma once

// Owners and access lists as records. The platform's own checks decide what is well formed; a part
// that is not leaves an empty SID, which stands for a malformed one.

#include "capture/captured_machine.h"
#include "platform/security.h"

#include <cstdint>
#include <optional>

namespace vorn::capture {

/// Owner and access list of an open file. Nothing on failure, with the error code in `*error`.
std::optional<SecurityFact> ReadFileSecurity(platform::HANDLE file, std::uint32_t* error);

/// The record of a descriptor whose parts were returned.
SecurityFact ToFact(const platform::SECURITY_DESCRIPTOR* descriptor, const platform::SID* owner,
                    const platform::ACL* dacl);

}  // namespace vorn::capture

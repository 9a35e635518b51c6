#pragma once

// The status that the driver image in memory reports. Plug and Play only knows which package is
// bound; this proves that its driver was loaded.

#include "base/check_result.h"
#include "control/control_protocol.h"
#include "control/exact_driver_version.h"

#include <cstdint>
#include <string>

namespace vorn {

/// Queries the status from the root's driver and checks that its image has `expectedVersion`, a
/// four-part DriverVer.
CheckResult QueryResidentStatus(const std::u16string& rootId,
                                const std::u16string& expectedVersion);

/// Checks a reply of `bytes` bytes, at least 4, against the expected version, which reasons quote
/// as `expectedText`.
CheckResult JudgeResidentStatus(const StatusReply& reply, std::uint32_t bytes,
                                const ExactDriverVersion& expected,
                                const std::u16string& expectedText);

}  // namespace vorn

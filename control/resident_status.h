#pragma once

// What the image in memory says of itself. Plug and Play's metadata only names the package that is
// bound; this is the proof that its driver was loaded.

#include "base/check_result.h"
#include "control/control_protocol.h"
#include "control/exact_driver_version.h"

#include <cstdint>
#include <string>

namespace vorn {

/// Asks the driver of that root for its status and judges whether it is the image of
/// `expectedVersion`, a four-part DriverVer.
CheckResult QueryResidentStatus(const std::u16string& rootId,
                                const std::u16string& expectedVersion);

/// Judges a reply of at least 4 `bytes` against the expected version; `expectedText` is how
/// reasons name it.
CheckResult JudgeResidentStatus(const StatusReply& reply, std::uint32_t bytes,
                                const ExactDriverVersion& expected,
                                const std::u16string& expectedText);

}  // namespace vorn

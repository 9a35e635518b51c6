#pragma once

// Native statuses as Win32 error codes.

#include "platform/types.h"

#include <cstdint>

namespace vorn::platform::simulated {

/// The Win32 error code of a native status; ERROR_MR_MID_NOT_FOUND when it has none.
std::uint32_t ToDosError(NTSTATUS status);

}  // namespace vorn::platform::simulated

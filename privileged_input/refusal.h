#pragma once

// How this layer says no: a failure value, and the reason in the last error.

#include "platform/last_error.h"

#include <cstdint>

namespace vorn::privileged_input {

/// Sets the last error and returns false.
inline bool RefuseWith(std::uint32_t error) {
  platform::SetLastError(error);
  return false;
}

}  // namespace vorn::privileged_input

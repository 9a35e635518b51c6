#pragma once

// How this folder fails: an empty result, with the reason in the last error.

#include "platform/last_error.h"

#include <cstdint>

namespace vorn::privileged_input {

/// Sets the last error and returns an empty result: false, or an object that is not open.
template <class Result = bool>
Result RefuseWith(std::uint32_t error) {
  platform::SetLastError(error);
  return Result();
}

}  // namespace vorn::privileged_input

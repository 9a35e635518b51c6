#pragma once

// A request to the driver over an open control channel.

#include "platform/types.h"

#include <cstdint>

namespace vorn {

struct ControlAnswer {
  bool succeeded = false;
  std::uint32_t bytes = 0;  // returned by the driver; 0 on failure
  std::uint32_t error = 0;  // the last error right after the call, even on success
};

/// Sends a request (DeviceIoControl).
ControlAnswer SendControlRequest(platform::HANDLE channel, std::uint32_t code, const void* input,
                                 std::uint32_t inputSize, void* output, std::uint32_t outputSize);

}  // namespace vorn

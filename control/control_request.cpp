#include "control/control_request.h"

#include "platform/device_io.h"
#include "platform/last_error.h"

namespace vorn {

ControlAnswer SendControlRequest(platform::HANDLE channel, std::uint32_t code, const void* input,
                                 std::uint32_t inputSize, void* output, std::uint32_t outputSize) {
  std::uint32_t bytes = 0;
  const bool succeeded =
      platform::DeviceIoControl(channel, code, input, inputSize, output, outputSize, &bytes);
  const std::uint32_t error = platform::GetLastError();
  return {succeeded, succeeded ? bytes : 0, error};
}

}  // namespace vorn

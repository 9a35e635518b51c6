#include "platform/last_error.h"

#include "platform/windows/casts.h"

namespace vorn::platform {

std::uint32_t GetLastError() {
  return ::GetLastError();
}

void SetLastError(std::uint32_t error) {
  ::SetLastError(error);
}

}  // namespace vorn::platform

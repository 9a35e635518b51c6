#include "platform/last_error.h"

#include "platform/simulated/process.h"

// Documented: each thread has its own last error. The program has one thread.

namespace vorn::platform {

std::uint32_t GetLastError() {
  return simulated::Process::Current().lastError;
}

void SetLastError(std::uint32_t error) {
  simulated::Process::Current().lastError = error;
}

}  // namespace vorn::platform

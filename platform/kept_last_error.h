#pragma once

// KeptLastError: restores the thread's last error at the end of its scope. Clean-up and printing
// make platform calls, which may overwrite the error being reported.

#include "platform/last_error.h"

#include <cstdint>

namespace vorn::platform {

class KeptLastError {
 public:
  KeptLastError() : error_(GetLastError()) {}
  ~KeptLastError() { SetLastError(error_); }
  KeptLastError(const KeptLastError&) = delete;
  KeptLastError& operator=(const KeptLastError&) = delete;

 private:
  std::uint32_t error_;
};

}  // namespace vorn::platform

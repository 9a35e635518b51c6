#pragma once

// KeptLastError: clean-up and printing make platform calls of their own, and each of them may
// overwrite the error that is being reported. While one of these lives, that does not show.

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

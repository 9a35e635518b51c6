#include "platform/clock.h"

#include "platform/windows/casts.h"

namespace vorn::platform {

std::uint64_t GetTickCount64() {
  return ::GetTickCount64();
}

void Sleep(std::uint32_t milliseconds) {
  ::Sleep(milliseconds);
}

void GetSystemTime(SYSTEMTIME* time) {
  ::GetSystemTime(windows::As<::SYSTEMTIME*>(time));
}

}  // namespace vorn::platform

#pragma once

// Time: the monotonic tick that every wait is measured against, the wait, and the UTC wall clock.

#include <cstdint>

namespace vorn::platform {

/// Milliseconds since the system started; never goes back (GetTickCount64).
std::uint64_t GetTickCount64();

/// Suspends the only thread for `milliseconds` (Sleep).
void Sleep(std::uint32_t milliseconds);

struct SYSTEMTIME {
  std::uint16_t wYear;
  std::uint16_t wMonth;
  std::uint16_t wDayOfWeek;
  std::uint16_t wDay;
  std::uint16_t wHour;
  std::uint16_t wMinute;
  std::uint16_t wSecond;
  std::uint16_t wMilliseconds;
};
static_assert(sizeof(SYSTEMTIME) == 16);

/// The current time in UTC (GetSystemTime).
void GetSystemTime(SYSTEMTIME* time);

}  // namespace vorn::platform

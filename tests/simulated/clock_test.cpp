// The machine's time of day.

#include "platform/clock.h"

#include "platform/simulated/process.h"

#include <gtest/gtest.h>

namespace vorn::tests {

using namespace platform;
using namespace platform::simulated;

namespace {

SYSTEMTIME TimeAt(std::uint64_t utcAtTickZero, std::uint64_t tick) {
  Machine machine;
  machine.clock.utcAtTickZero = utcAtTickZero;
  machine.clock.tick = tick;
  const Process process(machine);
  SYSTEMTIME time = {};
  GetSystemTime(&time);
  return time;
}

}  // namespace

TEST(SimulatedClock, KnowsTheDayOfTheWeek) {
  EXPECT_EQ(TimeAt(0, 0).wDayOfWeek, 4) << "1970-01-01 was a Thursday";
  EXPECT_EQ(TimeAt(951'782'400'000, 0).wDayOfWeek, 2) << "2000-02-29 was a Tuesday";
  EXPECT_EQ(TimeAt(1'767'225'600'000, 3 * 86'400'000).wDayOfWeek, 0) << "a Sunday";
}

TEST(SimulatedClock, CountsFromTheTickToTheMillisecond) {
  const SYSTEMTIME time = TimeAt(951'782'399'000, 1'234);
  EXPECT_EQ(time.wYear, 2000);
  EXPECT_EQ(time.wMonth, 2);
  EXPECT_EQ(time.wDay, 29);
  EXPECT_EQ(time.wHour, 0);
  EXPECT_EQ(time.wMinute, 0);
  EXPECT_EQ(time.wSecond, 0);
  EXPECT_EQ(time.wMilliseconds, 234);
}

}  // namespace vorn::tests

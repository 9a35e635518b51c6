#include "platform/owner.h"

#include "platform/simulated/error_values.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/process.h"

#include <gtest/gtest.h>
#include <utility>
#include <vector>

namespace vorn {
namespace {

std::vector<int> closed;

/// Objects that are numbers. Closing one is recorded and changes the last error.
struct NumberTraits {
  using Type = int;
  static Type Invalid() { return 0; }
  static bool IsValid(Type number) { return number != 0; }
  static void Close(Type number) {
    closed.push_back(number);
    platform::SetLastError(platform::ERROR_GEN_FAILURE);
  }
};

using Number = platform::Owner<NumberTraits>;
using Closed = std::vector<int>;

class AnOwner : public ::testing::Test {
 protected:
  AnOwner() { closed.clear(); }

  platform::simulated::Machine machine;
  platform::simulated::Process process{machine};
};

TEST_F(AnOwner, ClosesItsObjectOnceAndKeepsTheLastError) {
  platform::SetLastError(platform::ERROR_ACCESS_DENIED);
  {
    const Number number(1);
    const Number none;
    EXPECT_TRUE(number);
    EXPECT_FALSE(none);
  }
  EXPECT_EQ(closed, Closed{1});
  EXPECT_EQ(platform::GetLastError(), platform::ERROR_ACCESS_DENIED);
}

TEST_F(AnOwner, KeepsALastErrorOfZeroToo) {
  platform::SetLastError(platform::ERROR_SUCCESS);
  Number(1).Reset();
  EXPECT_EQ(platform::GetLastError(), platform::ERROR_SUCCESS);
}

TEST_F(AnOwner, ClosesItsObjectWhenAnotherIsMovedIn) {
  Number first(1);
  Number second(2);
  first = std::move(second);
  EXPECT_EQ(closed, Closed{1});
  EXPECT_EQ(first.Get(), 2);
  first.Reset();
  EXPECT_EQ(closed, (Closed{1, 2}));
}

TEST_F(AnOwner, KeepsItsObjectWhenMovedIntoItself) {
  Number number(1);
  Number& same = number;
  number = std::move(same);
  EXPECT_EQ(number.Get(), 1);
  EXPECT_EQ(closed, Closed{});
}

TEST_F(AnOwner, ClosesItsObjectBeforeItReceivesAnother) {
  Number number(1);
  *number.Receive() = 2;
  EXPECT_EQ(closed, Closed{1});
  EXPECT_EQ(number.Get(), 2);
}

}  // namespace
}  // namespace vorn

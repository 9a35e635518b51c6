#include "privileged_input/refusal.h"

#include "tests/privileged_input/input_test.h"

namespace vorn::privileged_input {
namespace {

using Refusal = tests::InputTest;

TEST_F(Refusal, ReturnsFalseAndSetsTheLastError) {
  platform::SetLastError(0);
  EXPECT_FALSE(RefuseWith(platform::ERROR_INVALID_NAME));
  EXPECT_LAST_ERROR(ERROR_INVALID_NAME);
  EXPECT_FALSE(RefuseWith(platform::ERROR_ACCESS_DENIED));
  EXPECT_LAST_ERROR(ERROR_ACCESS_DENIED);
}

}  // namespace
}  // namespace vorn::privileged_input

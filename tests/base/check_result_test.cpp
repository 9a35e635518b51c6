#include "base/check_result.h"

#include <gtest/gtest.h>

namespace vorn {
namespace {

TEST(CheckResult, HasPassedWithoutAReason) {
  EXPECT_TRUE(CheckResult::Passed().ok);
  EXPECT_EQ(CheckResult::Passed().reason, u"");
}

TEST(CheckResult, HasFailedWithTheReasonToTheLetter) {
  const CheckResult failed = CheckResult::Failed(u"50% of \"it\"\n is missing");
  EXPECT_FALSE(failed.ok);
  EXPECT_EQ(failed.reason, u"50% of \"it\"\n is missing");
}

TEST(CheckResult, HasNotPassedUntilAnybodySaysSo) {
  EXPECT_FALSE(CheckResult().ok);
}

}  // namespace
}  // namespace vorn

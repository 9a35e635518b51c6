#include "report/exit_status.h"

#include <gtest/gtest.h>
#include <utility>
#include <vector>

namespace vorn {
namespace {

// Installers and scripts rely on the numbers.
TEST(ExitStatuses, AreTheseNumbers) {
  const std::vector<std::pair<ExitStatus, ExitStatus>> rows = {
      {kExitOk, 0},
      {kExitUsage, 1},
      {kExitInputRefused, 2},
      {kExitRemoveRefused, 3},
      {kExitCreateListFailed, 3},
      {kExitClassNameFailed, 4},
      {kExitCreateDeviceFailed, 5},
      {kExitSetHardwareIdFailed, 6},
      {kExitRegisterDeviceFailed, 7},
      {kExitFreshBindFailed, 8},
      {kExitActivationStateBlocks, 9},
      {kExitRebootRequired, 10},
      {kExitEndpointsMissing, 11},
      {kExitNotStarted, 12},
      {kExitRemoveFailed, 13},
      {kExitHotSwapFailed, 15},
      {kExitBindRefused, 16},
      {kExitRemoveBusy, 17},
  };
  for (const auto& [status, number] : rows)
    EXPECT_EQ(status, number);
}

}  // namespace
}  // namespace vorn

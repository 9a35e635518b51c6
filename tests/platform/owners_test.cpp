#include "platform/owners.h"

#include <gtest/gtest.h>

namespace vorn {
namespace {

TEST(AnEmptyOwner, HoldsWhatAFailedCallReturns) {
  EXPECT_EQ(platform::KernelHandle().Get(), nullptr);
  EXPECT_EQ(platform::DeviceHandle().Get(), platform::INVALID_HANDLE_VALUE);
  EXPECT_EQ(platform::DeviceInfoList().Get(), platform::INVALID_DEVICE_INFO_LIST);
  EXPECT_EQ(platform::InfHandle().Get(), platform::INVALID_INF);
  EXPECT_EQ(platform::RegistryKey().Get(), nullptr);
}

}  // namespace
}  // namespace vorn

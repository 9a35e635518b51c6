#include "product/endpoint_identity.h"

#include <gtest/gtest.h>
#include <string>

namespace vorn {
namespace {

TEST(EndpointIdentities, AreTheRenderCablesAndThenTheCaptureCables) {
  const auto identities = AllEndpointIdentities();
  ASSERT_EQ(identities.size(), 20U);
  for (std::uint32_t cable = 0; cable < 10; ++cable) {
    EXPECT_EQ(identities[cable], (EndpointIdentity{cable, false}));
    EXPECT_EQ(identities[10 + cable], (EndpointIdentity{cable, true}));
  }
}

TEST(EndpointIdentities, NameTheirFlows) {
  EXPECT_EQ(std::u16string(FlowName(false)), u"render");
  EXPECT_EQ(std::u16string(FlowName(true)), u"capture");
}

}  // namespace
}  // namespace vorn

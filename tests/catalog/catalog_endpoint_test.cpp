#include "catalog/catalog_endpoint.h"

#include <gtest/gtest.h>

namespace vorn {
namespace {

TEST(CatalogEndpoint, HasItsIdBehindTheEnumeratorAsItsInstanceId) {
  EXPECT_EQ(InstanceIdOfEndpoint(u"{0.0.1.00000000}.{9d6c0e2a-5b1f-4a3d-8e7c-1f2a3b4c5d6e}"),
            u"SWD\\MMDEVAPI\\{0.0.1.00000000}.{9d6c0e2a-5b1f-4a3d-8e7c-1f2a3b4c5d6e}");
}

TEST(CatalogEndpoint, DiffersInEachOfItsFacts) {
  const CatalogEndpoint endpoint{3, true, true, u"{id}"};
  EXPECT_EQ(endpoint, (CatalogEndpoint{3, true, true, u"{id}"}));
  EXPECT_NE(endpoint, (CatalogEndpoint{4, true, true, u"{id}"}));
  EXPECT_NE(endpoint, (CatalogEndpoint{3, false, true, u"{id}"}));
  EXPECT_NE(endpoint, (CatalogEndpoint{3, true, false, u"{id}"}));
  EXPECT_NE(endpoint, (CatalogEndpoint{3, true, true, u"{ID}"}));
}

}  // namespace
}  // namespace vorn

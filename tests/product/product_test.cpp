// The product's names: where one fact has two spellings, they agree.

#include "product/product.h"

#include "base/format.h"
#include "base/text.h"

#include <gtest/gtest.h>
#include <string>

namespace vorn {
namespace {

std::u16string TextOf(const platform::GUID& guid) {
  const std::u16string tail = ToHexText(guid.Data4);
  return ToLowerAscii(Format(u"{%08X-%04X-%04X-%ls-%ls}", guid.Data1, std::uint32_t{guid.Data2},
                             std::uint32_t{guid.Data3}, tail.substr(0, 4), tail.substr(4)));
}

TEST(Product, SpellsItsSetupClassAsItsGuid) {
  EXPECT_EQ(TextOf(kSetupClass), kSetupClassText);
}

TEST(Product, NamesTheCableValueAfterItsPropertyKey) {
  EXPECT_EQ(TextOf(kCableIndexKey.fmtid) + Format(u",%u", kCableIndexKey.pid),
            kCableIndexValueName);
}

TEST(Product, ListsOneHardwareId) {
  const std::u16string ids(kRootHardwareIds, std::size(kRootHardwareIds));
  EXPECT_EQ(ids, std::u16string(kRootHardwareId) + u'\0' + u'\0');
}

}  // namespace
}  // namespace vorn

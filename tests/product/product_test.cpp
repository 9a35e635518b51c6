// The product's names. Where a name is spelled in two forms, both agree.

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

TEST(Product, IsKnownByTheseNames) {
  EXPECT_EQ(std::u16string(kRootHardwareId), u"Root\\VornAudio");
  EXPECT_EQ(std::u16string(kDriverServiceName), u"VornAudio");
  EXPECT_EQ(std::u16string(kSetupClassName), u"MEDIA");
  EXPECT_EQ(std::u16string(kSetupClassText), u"{4d36e96c-e325-11ce-bfc1-08002be10318}");
  EXPECT_EQ(std::u16string(kCableIndexValueName), u"{4b7a2e8f-3c5d-4e91-8a67-2f9b1e3d5c7a},2");
}

TEST(Product, SpellsItsSetupClassTheSameInBothForms) {
  EXPECT_EQ(TextOf(kSetupClass), kSetupClassText);
}

TEST(Product, NamesTheCableIndexValueAfterItsPropertyKey) {
  EXPECT_EQ(TextOf(kCableIndexKey.fmtid) + Format(u",%u", kCableIndexKey.pid),
            kCableIndexValueName);
}

TEST(Product, ListsOneHardwareId) {
  const std::u16string ids(kRootHardwareIds, std::size(kRootHardwareIds));
  EXPECT_EQ(ids, std::u16string(kRootHardwareId) + u'\0' + u'\0');
}

}  // namespace
}  // namespace vorn

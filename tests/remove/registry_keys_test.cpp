#include "remove/registry_keys.h"

#include "platform/owners.h"
#include "tests/remove/registry_world.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vorn {
namespace {

using platform::simulated::FaultKind;
using platform::simulated::MakeKey;
using tests::FailingCall;

using Names = std::vector<std::u16string>;

class RegistryKeys : public tests::RegistryWorld {
 protected:
  RegistryKeys() {
    MakeKey(TheRegistry(), PathOf(u"Render"));
    for (const auto name : {u"c", u"a", u"B"})
      MakeKey(TheRegistry(), PathOf(u"Render\\" + std::u16string(name)));
  }

  /// Lists the subkeys of "Render", which it opens beforehand.
  SubkeyListing List() {
    platform::RegistryKey key;
    EXPECT_EQ(platform::RegOpenKeyExW(platform::HKEY_LOCAL_MACHINE, PathOf(u"Render").c_str(), 0,
                                      platform::KEY_READ, key.Receive()),
              0);
    return ListSubkeys(key.Get());
  }
};

TEST_F(RegistryKeys, AreListedInThePlatformsOrder) {
  const SubkeyListing listing = List();
  EXPECT_TRUE(listing.complete);
  EXPECT_EQ(listing.names, (Names{u"a", u"B", u"c"}));
}

TEST_F(RegistryKeys, AreNoneBelowAKeyWithoutSubkeys) {
  for (const auto name : {u"c", u"a", u"B"})
    RemoveKeyTree(TheRegistry(), PathOf(u"Render\\" + std::u16string(name)));
  const SubkeyListing listing = List();
  EXPECT_TRUE(listing.complete);
  EXPECT_EQ(listing.names, Names{});
}

TEST_F(RegistryKeys, AreAskedForByIndexWithRoomForTheLongestName) {
  const std::u16string longest(255, u'n');
  MakeKey(TheRegistry(), PathOf(u"Render\\" + longest));
  EXPECT_EQ(List().names, (Names{u"a", u"B", u"c", longest}));
  EXPECT_EQ(ArgumentsOf("RegEnumKeyExW", "index"),
            (std::vector<std::string>{"0", "1", "2", "3", "4"}));
  EXPECT_EQ(ArgumentsOf("RegEnumKeyExW", "nameSize"), (std::vector<std::string>(5, "256")));
}

TEST_F(RegistryKeys, AreNotAllListedWhenTheListingEndsWithAnyOtherError) {
  for (const std::uint32_t error : {2U, 3U, 5U, 6U, 18U, 122U, 234U, 1018U, 1450U, 0x80070005U}) {
    SCOPED_TRACE(error);
    process.callCounts.clear();
    process.faults = {FailingCall("RegEnumKeyExW", error, 2)};
    const SubkeyListing listing = List();
    EXPECT_FALSE(listing.complete);
    EXPECT_EQ(listing.names, Names{u"a"});
  }
}

TEST_F(RegistryKeys, AreNotBelievedWhenTheCallThatNamesThemFails) {
  process.faults = {FailingCall("RegEnumKeyExW", 5, 2)};
  process.faults[0].kind = FaultKind::FailAfterEffect;
  const SubkeyListing listing = List();
  EXPECT_FALSE(listing.complete);
  EXPECT_EQ(listing.names, Names{u"a"});
}

}  // namespace
}  // namespace vorn

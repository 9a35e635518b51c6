#include "devnode/root_walk.h"

#include "base/text.h"
#include "platform/last_error.h"
#include "tests/support/device_world.h"

#include <string>
#include <vector>

namespace vorn {
namespace {

using tests::FailingCall;
using tests::kOtherRootId;
using tests::kRootId;

class WalkOverTheRoots : public tests::DeviceWorld {
 protected:
  /// The ids of the devices at which a walk stops; sets `sawEveryDevice`.
  std::vector<std::string> Walk(RootScope scope) {
    const platform::DeviceInfoList list = OpenRootDevices(scope);
    RootWalk walk(list.Get());
    std::vector<std::string> ids;
    for (platform::SP_DEVINFO_DATA device = {}; walk.Next(device);) {
      char16_t id[64] = {};
      EXPECT_TRUE(platform::SetupDiGetDeviceInstanceIdW(list.Get(), &device, id, 64, nullptr));
      ids.push_back(ToUtf8(id));
    }
    sawEveryDevice = walk.SawEveryDevice();
    return ids;
  }

  bool sawEveryDevice = false;
};

TEST_F(WalkOverTheRoots, ListsTheEnumeratorRootWhateverTheClass) {
  OpenRootDevices(RootScope::Present);
  OpenRootDevices(RootScope::Installed);
  const auto calls = tests::CallsOf(process, "SetupDiGetClassDevsW");
  ASSERT_EQ(calls.size(), 2U);
  EXPECT_EQ(calls[0].Argument("Enumerator"), "ROOT");
  EXPECT_EQ(calls[0].Argument("Flags"), "0x6");
  EXPECT_EQ(calls[1].Argument("Enumerator"), "ROOT");
  EXPECT_EQ(calls[1].Argument("Flags"), "0x4");
}

TEST_F(WalkOverTheRoots, LeavesTheErrorOfAListThatCannotBeMade) {
  process.faults = {FailingCall("SetupDiGetClassDevsW", 1234)};
  EXPECT_FALSE(OpenRootDevices(RootScope::Present));
  EXPECT_EQ(platform::GetLastError(), 1234U);
}

TEST_F(WalkOverTheRoots, StopsAtEveryRootAndPassesOverStrangers) {
  tests::AddStartedRoot(machine, u"ROOT\\AAA\\0000").hardwareIds = {u"Root\\Other"};
  tests::AddGhostRoot(machine, kRootId);
  tests::AddStartedRoot(machine, u"ROOT\\MEDIA\\0000A").hardwareIds = {u"Root\\Other"};
  tests::AddStartedRoot(machine, kOtherRootId);
  tests::AddStartedRoot(machine, u"ROOT\\ZZZ\\0000").hardwareIds = {u"Root\\Other"};
  EXPECT_EQ(Walk(RootScope::Installed),
            (std::vector<std::string>{"ROOT\\MEDIA\\0000", "ROOT\\MEDIA\\0001"}));
  EXPECT_TRUE(sawEveryDevice);
  EXPECT_EQ(Walk(RootScope::Present), std::vector<std::string>{"ROOT\\MEDIA\\0001"});
  EXPECT_TRUE(sawEveryDevice);
}

TEST_F(WalkOverTheRoots, AsksForEachIndexFromZeroOnce) {
  tests::AddGhostRoot(machine, kRootId);
  tests::AddStartedRoot(machine, kOtherRootId);
  Walk(RootScope::Installed);
  std::vector<std::string> indexes;
  for (const auto& call : tests::CallsOf(process, "SetupDiEnumDeviceInfo"))
    indexes.push_back(call.Argument("MemberIndex"));
  EXPECT_EQ(indexes, (std::vector<std::string>{"0", "1", "2"}));
}

TEST_F(WalkOverTheRoots, IsCompleteOnlyIfItEndsForLackOfItems) {
  tests::AddStartedRoot(machine, kRootId);
  for (const std::uint32_t error : {std::uint32_t{0}, platform::ERROR_FILE_NOT_FOUND,
                                    platform::ERROR_NO_MORE_FILES, platform::ERROR_ACCESS_DENIED}) {
    process.callCounts.clear();
    process.faults = {FailingCall("SetupDiEnumDeviceInfo", error, 2)};
    EXPECT_EQ(Walk(RootScope::Present).size(), 1U) << error;
    EXPECT_FALSE(sawEveryDevice) << error;
  }
}

}  // namespace
}  // namespace vorn

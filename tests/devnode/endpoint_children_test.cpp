#include "devnode/endpoint_children.h"

#include "devnode/root_discovery.h"
#include "platform/config_manager.h"
#include "platform/simulated/config_manager_values.h"
#include "tests/support/device_world.h"

#include <algorithm>
#include <string>
#include <vector>

namespace vorn {
namespace {

using tests::AlwaysFailingCall;
using tests::FailingCall;
using tests::kRootId;

using Ids = std::vector<std::u16string>;

constexpr char16_t kOneChild[] = u"SWD\\MMDEVAPI\\{0.0.0.00000000}.{B}";

using EndpointChildren = tests::DeviceWorld;

TEST_F(EndpointChildren, ListsOnlyStartedChildrenOfTheAudioEndpointClass) {
  tests::AddStartedRoot(machine);
  tests::AddEndpointChild(machine, kRootId, u"A").classGuid = platform::simulated::kMediaClass;
  tests::AddEndpointChild(machine, kRootId, u"B").status = 0;
  tests::AddEndpointChild(machine, kRootId, u"C").problem = 10;
  tests::AddEndpointChild(machine, kRootId, u"D").present = false;
  tests::AddEndpointChild(machine, kRootId, u"E").statusError = platform::CR_FAILURE;
  tests::AddEndpointChild(machine, kRootId, u"F").classGuidText =
      u"{C166523C-FE0C-4A94-A586-F1A80CFBBF3E}";
  tests::AddEndpointChild(machine, kRootId, u"G").classGuidText =
      u"{c166523c-fe0c-4a94-a586-f1a80cfbbf3e} ";
  tests::AddEndpointChild(machine, kRootId, u"H").classGuidText = std::u16string(64, u'c');
  tests::AddEndpointChild(machine, kRootId, u"J").classGuidText = std::u16string(63, u'c');
  tests::AddEndpointChild(machine, u"ROOT\\OTHER\\0000", u"I");
  tests::AddEndpointChild(machine, kRootId, kOneChild);
  EXPECT_EQ(DiscoverLiveRoot().endpointChildren, (Ids{u"F", kOneChild}));
}

TEST_F(EndpointChildren, ReadsAChildsClassIntoABufferOf128Bytes) {
  tests::AddStartedRoot(machine);
  tests::AddEndpointChild(machine, kRootId, kOneChild);
  DiscoverLiveRoot();
  const auto calls = tests::CallsOf(process, "CM_Get_DevNode_Registry_PropertyW");
  ASSERT_EQ(calls.size(), 1U);
  EXPECT_EQ(calls[0].Argument("ulProperty"), "9");
  EXPECT_EQ(calls[0].Argument("ulLength"), "128");
}

TEST_F(EndpointChildren, ReadsAChildsClassThenItsStatusThenItsId) {
  tests::AddStartedRoot(machine);
  tests::AddEndpointChild(machine, kRootId, u"SWD\\OTHER\\1").classGuid =
      platform::simulated::kMediaClass;
  tests::AddEndpointChild(machine, kRootId, u"SWD\\MMDEVAPI\\2").status = 0;
  tests::AddEndpointChild(machine, kRootId, u"SWD\\MMDEVAPI\\3");
  DiscoverLiveRoot();
  std::vector<std::string> names = tests::CallNames(process);
  names.erase(names.begin(), std::find(names.begin(), names.end(), "CM_Get_Child"));
  EXPECT_EQ(names, (std::vector<std::string>{
                       "CM_Get_Child", "CM_Get_DevNode_Registry_PropertyW", "CM_Get_Sibling",
                       "CM_Get_DevNode_Registry_PropertyW", "CM_Get_DevNode_Status",
                       "CM_Get_Sibling", "CM_Get_DevNode_Registry_PropertyW",
                       "CM_Get_DevNode_Status", "CM_Get_Device_ID_Size", "CM_Get_Device_IDW",
                       "CM_Get_Sibling", "SetupDiEnumDeviceInfo", "SetupDiDestroyDeviceInfoList"}));
}

TEST_F(EndpointChildren, ReadsAnIdIntoABufferWithRoomForItsTerminator) {
  tests::AddStartedRoot(machine);
  tests::AddEndpointChild(machine, kRootId, u"SWD\\MMDEVAPI\\1");
  EXPECT_EQ(DiscoverLiveRoot().endpointChildren, Ids{u"SWD\\MMDEVAPI\\1"});
  EXPECT_EQ(tests::CallsOf(process, "CM_Get_Device_IDW")[0].Argument("BufferLen"), "15");
}

TEST_F(EndpointChildren, LeavesOutAChildWithAnEmptyId) {
  tests::AddStartedRoot(machine);
  tests::AddEndpointChild(machine, kRootId, u"SWD\\MMDEVAPI\\1");
  tests::AddEndpointChild(machine, kRootId, u"SWD\\MMDEVAPI\\2");
  process.faults = {tests::LyingCall("CM_Get_Device_IDW")};
  EXPECT_EQ(DiscoverLiveRoot().endpointChildren, Ids{u"SWD\\MMDEVAPI\\2"});
}

TEST_F(EndpointChildren, LeavesOutAChildThatCannotBeRead) {
  for (const char* call :
       {"CM_Get_DevNode_Registry_PropertyW", "CM_Get_Device_ID_Size", "CM_Get_Device_IDW"}) {
    machine = {};
    process.callCounts.clear();
    tests::AddStartedRoot(machine);
    tests::AddEndpointChild(machine, kRootId, u"SWD\\MMDEVAPI\\1");
    tests::AddEndpointChild(machine, kRootId, u"SWD\\MMDEVAPI\\2");
    process.faults = {FailingCall(call, platform::CR_FAILURE)};
    const LiveRoot live = DiscoverLiveRoot();
    EXPECT_TRUE(live.ok) << call;
    EXPECT_EQ(live.endpointChildren, Ids{u"SWD\\MMDEVAPI\\2"}) << call;
  }
}

TEST_F(EndpointChildren, IgnoresTheOutputOfACallThatFailed) {
  for (const char* call : {"CM_Get_Child", "CM_Get_DevNode_Registry_PropertyW",
                           "CM_Get_Device_ID_Size", "CM_Get_Device_IDW"}) {
    machine = {};
    process.callCounts.clear();
    tests::AddStartedRoot(machine);
    tests::AddEndpointChild(machine, kRootId, u"SWD\\MMDEVAPI\\1");
    process.faults = {tests::FailingAfterEffect(call, platform::CR_FAILURE)};
    EXPECT_EQ(DiscoverLiveRoot().endpointChildren, Ids{}) << call;
  }
}

TEST_F(EndpointChildren, StopsWhereTheTreeCannotBeWalkedFurther) {
  tests::AddStartedRoot(machine);
  tests::AddEndpointChild(machine, kRootId, u"SWD\\MMDEVAPI\\1");
  tests::AddEndpointChild(machine, kRootId, u"SWD\\MMDEVAPI\\2");
  process.faults = {FailingCall("CM_Get_Sibling", platform::CR_FAILURE)};
  EXPECT_EQ(DiscoverLiveRoot().endpointChildren, Ids{u"SWD\\MMDEVAPI\\1"});
  process.faults = {AlwaysFailingCall("CM_Get_Child", platform::CR_FAILURE)};
  EXPECT_EQ(DiscoverLiveRoot().endpointChildren, Ids{});
}

}  // namespace
}  // namespace vorn

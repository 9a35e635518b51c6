#include "devnode/duplicate_roots.h"

#include "devnode/root_discovery.h"
#include "platform/config_manager.h"
#include "platform/last_error.h"
#include "platform/simulated/config_manager_values.h"
#include "tests/support/device_world.h"

#include <string>
#include <vector>

namespace vorn {
namespace {

using platform::simulated::Device;
using platform::simulated::Fault;
using platform::simulated::FaultKind;
using platform::simulated::Machine;
using tests::FailingCall;
using tests::kOtherRootId;
using tests::kRootId;

constexpr char16_t kThirdRootId[] = u"ROOT\\MEDIA\\0002";
constexpr char16_t kUnproven[] =
    u"vorn_devnode: duplicate-root cleanup could not prove the selected live generation\n";

class Pruning : public tests::DeviceWorld {
 protected:
  std::vector<std::u16string> Installed() const {
    std::vector<std::u16string> ids;
    for (const Device& device : machine.devices.devices)
      ids.push_back(device.instanceId);
    return ids;
  }
};

using Ids = std::vector<std::u16string>;

TEST_F(Pruning, RemovesNothingFromACleanMachine) {
  const PruneResult result = PruneDuplicateRoots();
  EXPECT_TRUE(result.ok);
  EXPECT_EQ(result.remaining, 0U);
  EXPECT_FALSE(result.restartPending);
  EXPECT_EQ(Waited(), 0U);
  EXPECT_TRUE(process.console.empty());
  EXPECT_EQ(CountOf("SetupDiCallClassInstaller"), 0U);
}

TEST_F(Pruning, RemovesNothingWhenThereIsOneRoot) {
  tests::AddStoppedRoot(machine, kRootId, platform::CM_PROB_DISABLED);
  const PruneResult result = PruneDuplicateRoots();
  EXPECT_TRUE(result.ok);
  EXPECT_EQ(result.remaining, 1U);
  EXPECT_TRUE(process.console.empty());
  EXPECT_EQ(CountOf("SetupDiCallClassInstaller"), 0U);
}

TEST_F(Pruning, RemovesAGhostBesideAStartedRoot) {
  tests::AddGhostRoot(machine, kRootId);
  tests::AddStartedRoot(machine, kOtherRootId);
  const PruneResult result = PruneDuplicateRoots();
  EXPECT_TRUE(result.ok);
  EXPECT_EQ(result.remaining, 1U);
  EXPECT_FALSE(result.restartPending);
  EXPECT_EQ(Installed(), Ids{kOtherRootId});
  EXPECT_EQ(process.Output(),
            u"vorn_devnode: removed 1 duplicate/ghost Root\\VornAudio devnode(s)\n");
  EXPECT_EQ(process.ErrorOutput(), u"");
}

TEST_F(Pruning, RemovesAGhostThatIsAlone) {
  tests::AddGhostRoot(machine, kRootId);
  const PruneResult result = PruneDuplicateRoots();
  EXPECT_TRUE(result.ok);
  EXPECT_EQ(result.remaining, 0U);
  EXPECT_EQ(Installed(), Ids{});
  EXPECT_EQ(process.Output(),
            u"vorn_devnode: removed 1 duplicate/ghost Root\\VornAudio devnode(s)\n");
}

TEST_F(Pruning, RemovesEveryGhostWhenThereAreOnlyGhosts) {
  tests::AddGhostRoot(machine, kRootId);
  tests::AddGhostRoot(machine, kOtherRootId);
  EXPECT_TRUE(PruneDuplicateRoots().ok);
  EXPECT_EQ(Installed(), Ids{});
  EXPECT_EQ(process.Output(),
            u"vorn_devnode: removed 2 duplicate/ghost Root\\VornAudio devnode(s)\n");
}

TEST_F(Pruning, KeepsTheLowerIdOfTwoStartedRoots) {
  tests::AddStartedRoot(machine, u"root\\media\\0001");
  tests::AddStartedRoot(machine, u"ROOT\\MEDIA\\0000");
  EXPECT_TRUE(PruneDuplicateRoots().ok);
  EXPECT_EQ(Installed(), Ids{u"ROOT\\MEDIA\\0000"});
}

TEST_F(Pruning, PrefersAStartedRootToAStoppedOneWithALowerId) {
  tests::AddStoppedRoot(machine, kRootId, 28);
  tests::AddStartedRoot(machine, kOtherRootId);
  EXPECT_TRUE(PruneDuplicateRoots().ok);
  EXPECT_EQ(Installed(), Ids{kOtherRootId});
}

TEST_F(Pruning, PrefersARootWithoutAProblemToAStartedOneWithAProblemAndALowerId) {
  tests::AddStartedRoot(machine, kRootId).problem = 14;
  tests::AddStartedRoot(machine, kOtherRootId);
  EXPECT_TRUE(PruneDuplicateRoots().ok);
  EXPECT_EQ(Installed(), Ids{kOtherRootId});
}

TEST_F(Pruning, PrefersAStartedRootToAStoppedOneWithoutAProblemAndWithALowerId) {
  tests::AddStoppedRoot(machine, kRootId, 0);
  tests::AddStartedRoot(machine, kOtherRootId);
  EXPECT_TRUE(PruneDuplicateRoots().ok);
  EXPECT_EQ(Installed(), Ids{kOtherRootId});
}

TEST_F(Pruning, LocatesEachRootByItsIdAmongTheLiveNodesOnly) {
  tests::AddGhostRoot(machine, kRootId);
  tests::AddStartedRoot(machine, kOtherRootId);
  ASSERT_TRUE(PruneDuplicateRoots().ok);
  const auto calls = tests::CallsOf(process, "CM_Locate_DevNodeW");
  ASSERT_EQ(calls.size(), 2U);
  EXPECT_EQ(calls[0].Argument("pDeviceID"), "ROOT\\MEDIA\\0000");
  EXPECT_EQ(calls[1].Argument("pDeviceID"), "ROOT\\MEDIA\\0001");
  for (const auto& call : calls)
    EXPECT_EQ(call.Argument("ulFlags"), "0x0");
}

TEST_F(Pruning, ReadsEveryRootThenRemovesThenFreesTheListThenLooksAgain) {
  tests::AddGhostRoot(machine, kRootId);
  tests::AddStartedRoot(machine, kOtherRootId);
  ASSERT_TRUE(PruneDuplicateRoots().ok);
  EXPECT_EQ(tests::CallNames(process),
            (std::vector<std::string>{"SetupDiGetClassDevsW",
                                      "SetupDiEnumDeviceInfo",
                                      "SetupDiGetDeviceRegistryPropertyW",
                                      "SetupDiGetDeviceInstanceIdW",
                                      "SetupDiGetDeviceInstanceIdW",
                                      "CM_Locate_DevNodeW",
                                      "SetupDiEnumDeviceInfo",
                                      "SetupDiGetDeviceRegistryPropertyW",
                                      "SetupDiGetDeviceInstanceIdW",
                                      "SetupDiGetDeviceInstanceIdW",
                                      "CM_Locate_DevNodeW",
                                      "CM_Get_DevNode_Status",
                                      "SetupDiEnumDeviceInfo",
                                      "SetupDiSetClassInstallParamsW",
                                      "SetupDiCallClassInstaller",
                                      "SetupDiGetDeviceInstallParamsW",
                                      "SetupDiDestroyDeviceInfoList",
                                      "GetTickCount64",
                                      "SetupDiGetClassDevsW",
                                      "SetupDiEnumDeviceInfo",
                                      "SetupDiGetDeviceRegistryPropertyW",
                                      "SetupDiGetDeviceInstanceIdW",
                                      "SetupDiGetDeviceInstanceIdW",
                                      "SetupDiEnumDeviceInfo",
                                      "SetupDiDestroyDeviceInfoList",
                                      "fputws",
                                      "fflush"}));
}

TEST_F(Pruning, TreatsARootOfUnknownStatusAsStopped) {
  tests::AddStartedRoot(machine, kRootId).statusError = platform::CR_FAILURE;
  tests::AddStartedRoot(machine, kOtherRootId);
  EXPECT_TRUE(PruneDuplicateRoots().ok);
  EXPECT_EQ(Installed(), Ids{kOtherRootId});
}

TEST_F(Pruning, DoesNotTakeTheStatusOfTheRootBeforeForAnUnknownOne) {
  tests::AddStartedRoot(machine, kOtherRootId);
  Device& unknown = tests::AddStartedRoot(machine, kThirdRootId);
  unknown.statusError = platform::CR_FAILURE;
  unknown.instanceId = kRootId;  // the lower id, although listed later
  EXPECT_TRUE(PruneDuplicateRoots().ok);
  EXPECT_EQ(Installed(), Ids{kOtherRootId});
}

TEST_F(Pruning, TreatsARootThatWasLocatedWithAnErrorAsAGhost) {
  tests::AddStartedRoot(machine, kRootId);
  tests::AddStoppedRoot(machine, kOtherRootId, 28);
  process.faults = {tests::FailingAfterEffect("CM_Locate_DevNodeW", platform::CR_FAILURE)};
  EXPECT_TRUE(PruneDuplicateRoots().ok);
  EXPECT_EQ(Installed(), Ids{kOtherRootId});
}

TEST_F(Pruning, TreatsARootThatCannotBeLocatedAsAGhost) {
  tests::AddStartedRoot(machine, kRootId);
  tests::AddStoppedRoot(machine, kOtherRootId, 28);
  process.faults = {FailingCall("CM_Locate_DevNodeW", platform::CR_FAILURE)};
  EXPECT_TRUE(PruneDuplicateRoots().ok);
  EXPECT_EQ(Installed(), Ids{kOtherRootId});
}

TEST_F(Pruning, NeverTouchesAnotherDevice) {
  Device& stranger = tests::AddStartedRoot(machine, u"ROOT\\AAA\\0000");
  stranger.hardwareIds = {u"Root\\Other"};
  tests::AddGhostRoot(machine, kRootId);
  EXPECT_TRUE(PruneDuplicateRoots().ok);
  EXPECT_EQ(Installed(), Ids{u"ROOT\\AAA\\0000"});
}

TEST_F(Pruning, RemovesFromEveryHardwareProfileInListOrder) {
  tests::AddGhostRoot(machine, kRootId);
  tests::AddGhostRoot(machine, kOtherRootId);
  tests::AddStartedRoot(machine, kThirdRootId);
  ASSERT_TRUE(PruneDuplicateRoots().ok);
  const auto lists = tests::CallsOf(process, "SetupDiGetClassDevsW");
  EXPECT_EQ(lists.front().Argument("Flags"), "0x4");
  const auto parameters = tests::CallsOf(process, "SetupDiSetClassInstallParamsW");
  ASSERT_EQ(parameters.size(), 2U);
  for (const auto& call : parameters) {
    EXPECT_EQ(call.Argument("ClassInstallParamsSize"), "16");
    EXPECT_EQ(call.Argument("cbSize"), "8");
    EXPECT_EQ(call.Argument("InstallFunction"), "0x5");
    EXPECT_EQ(call.Argument("Parameter1"), "1");
    EXPECT_EQ(call.Argument("Parameter2"), "0");
  }
  EXPECT_EQ(parameters[0].Argument("DeviceInfoData"), "ROOT\\MEDIA\\0000");
  EXPECT_EQ(parameters[1].Argument("DeviceInfoData"), "ROOT\\MEDIA\\0001");
  EXPECT_EQ(CountOf("SetupDiGetDeviceInstallParamsW"), 2U);
}

TEST_F(Pruning, RemovesNothingWithoutAList) {
  tests::AddGhostRoot(machine, kRootId);
  process.faults = {FailingCall("SetupDiGetClassDevsW", 8)};
  const PruneResult result = PruneDuplicateRoots();
  EXPECT_FALSE(result.ok);
  EXPECT_EQ(result.remaining, 0U);
  EXPECT_FALSE(result.restartPending);
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: SetupDiGetClassDevs(prune) failed (error 0x00000008)\n");
  EXPECT_EQ(Installed(), Ids{kRootId});
}

TEST_F(Pruning, RemovesNothingWhenTheEnumerationBreaksOff) {
  tests::AddStartedRoot(machine, kRootId);
  tests::AddGhostRoot(machine, kOtherRootId);
  process.faults = {FailingCall("SetupDiEnumDeviceInfo", 13, 3)};
  const PruneResult result = PruneDuplicateRoots();
  EXPECT_FALSE(result.ok);
  EXPECT_EQ(result.remaining, 1U);
  EXPECT_EQ(process.ErrorOutput(), kUnproven);
  EXPECT_EQ(process.Output(), u"");
  EXPECT_EQ(Installed().size(), 2U);
  EXPECT_EQ(CountOf("SetupDiSetClassInstallParamsW"), 0U);
  EXPECT_EQ(Waited(), 0U) << "the started root was chosen all the same, and is the only present";
}

TEST_F(Pruning, RemovesNothingWhenAnIdCannotBeRead) {
  tests::AddStartedRoot(machine, kRootId);
  tests::AddGhostRoot(machine, kOtherRootId);
  process.faults = {FailingCall("SetupDiGetDeviceInstanceIdW", 13, 3)};
  const PruneResult result = PruneDuplicateRoots();
  EXPECT_FALSE(result.ok);
  EXPECT_EQ(process.ErrorOutput(), kUnproven);
  EXPECT_EQ(Installed().size(), 2U);
}

TEST_F(Pruning, WaitsForDuplicatesToGoEvenAfterAFailure) {
  tests::AddStartedRoot(machine, kRootId);
  tests::AddStartedRoot(machine, kOtherRootId);
  process.faults = {FailingCall("SetupDiEnumDeviceInfo", 13, 3)};
  const PruneResult result = PruneDuplicateRoots();
  EXPECT_FALSE(result.ok);
  EXPECT_EQ(result.remaining, 2U);
  EXPECT_EQ(Waited(), 30'000U);
}

TEST_F(Pruning, StopsAtTheFirstFailingCallAndReportsIt) {
  struct Row {
    const char* call;
    std::u16string label;
    std::size_t removed;
  };
  const std::vector<Row> rows = {
      {"SetupDiSetClassInstallParamsW", u"SetupDiSetClassInstallParams(DIF_REMOVE duplicate)", 0},
      {"SetupDiCallClassInstaller", u"SetupDiCallClassInstaller(DIF_REMOVE duplicate)", 0},
      {"SetupDiGetDeviceInstallParamsW", u"SetupDiGetDeviceInstallParams(duplicate)", 1},
  };
  for (const Row& row : rows) {
    machine = Machine{};
    process.callCounts.clear();
    process.console.clear();
    tests::AddGhostRoot(machine, kRootId);
    tests::AddGhostRoot(machine, kOtherRootId);
    tests::AddStartedRoot(machine, kThirdRootId);
    process.faults = {FailingCall(row.call, 0xE000020B)};
    const PruneResult result = PruneDuplicateRoots();
    EXPECT_FALSE(result.ok) << row.call;
    EXPECT_EQ(result.remaining, 1U) << row.call;
    EXPECT_EQ(Installed().size(), 3 - row.removed) << row.call;
    EXPECT_EQ(process.ErrorOutput(),
              u"vorn_devnode: " + row.label + u" failed (error 0xE000020B)\n" + kUnproven);
    EXPECT_EQ(process.Output(),
              row.removed == 0
                  ? u""
                  : u"vorn_devnode: removed 1 duplicate/ghost Root\\VornAudio devnode(s)\n");
  }
}

TEST_F(Pruning, PrintsTheCountAfterTheFailureLine) {
  tests::AddGhostRoot(machine, kRootId);
  tests::AddStartedRoot(machine, kOtherRootId);
  process.faults = {FailingCall("SetupDiGetDeviceInstallParamsW", 5)};
  EXPECT_FALSE(PruneDuplicateRoots().ok);
  ASSERT_EQ(process.console.size(), 3U);
  EXPECT_EQ(process.console[1].text, kUnproven);
  EXPECT_EQ(process.console[2].text,
            u"vorn_devnode: removed 1 duplicate/ghost Root\\VornAudio devnode(s)\n");
}

TEST_F(Pruning, IsDeferredWhileARemovalNeedsARestart) {
  tests::AddStartedRoot(machine, kRootId);
  Device& second = tests::AddStartedRoot(machine, kOtherRootId);
  second.temper.removeNeedsRestart = true;
  second.temper.removeKeepsNodeUntilRestart = true;
  const PruneResult result = PruneDuplicateRoots();
  EXPECT_FALSE(result.ok);
  EXPECT_EQ(result.remaining, 2U);
  EXPECT_TRUE(result.restartPending);
  EXPECT_EQ(Waited(), 30'000U);
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: RESULT=DUPLICATE_CLEANUP_REBOOT - duplicate removal is deferred; 2 "
            u"present roots remain\n");
  EXPECT_EQ(process.Output(),
            u"vorn_devnode: removed 1 duplicate/ghost Root\\VornAudio devnode(s) (restart "
            u"pending)\n");
}

TEST_F(Pruning, IsDeferredEvenWhenALaterCallFails) {
  tests::AddGhostRoot(machine, kRootId).temper.removeNeedsRestart = true;
  tests::AddGhostRoot(machine, kOtherRootId);
  tests::AddStartedRoot(machine, kThirdRootId);
  process.faults = {FailingCall("SetupDiCallClassInstaller", 5, 2)};
  const PruneResult result = PruneDuplicateRoots();
  EXPECT_FALSE(result.ok);
  EXPECT_EQ(result.remaining, 1U);
  EXPECT_TRUE(result.restartPending);
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: SetupDiCallClassInstaller(DIF_REMOVE duplicate) failed (error "
            u"0x00000005)\n"
            u"vorn_devnode: RESULT=DUPLICATE_CLEANUP_REBOOT - duplicate removal is deferred; 1 "
            u"present roots remain\n");
}

TEST_F(Pruning, LeavesARestartPendingForEitherFlagAndNoOther) {
  struct Row {
    std::uint32_t flags;
    bool pending;
  };
  for (const Row& row : {Row{platform::DI_NEEDRESTART, true}, Row{platform::DI_NEEDREBOOT, true},
                         Row{0xFFFFFE7F, false}}) {
    machine = {};
    tests::AddGhostRoot(machine, kRootId).installFlags = row.flags;
    EXPECT_EQ(PruneDuplicateRoots().restartPending, row.pending) << row.flags;
  }
}

TEST_F(Pruning, SucceedsWithARestartPendingWhenTheDuplicateIsGone) {
  tests::AddStartedRoot(machine, kRootId);
  tests::AddGhostRoot(machine, kOtherRootId).temper.removeNeedsRestart = true;
  const PruneResult result = PruneDuplicateRoots();
  EXPECT_TRUE(result.ok);
  EXPECT_TRUE(result.restartPending);
  EXPECT_EQ(process.ErrorOutput(), u"");
  EXPECT_EQ(process.Output(),
            u"vorn_devnode: removed 1 duplicate/ghost Root\\VornAudio devnode(s) (restart "
            u"pending)\n");
}

TEST_F(Pruning, LooksEveryHalfSecondUntilTheDuplicateIsGone) {
  tests::AddStartedRoot(machine, kRootId);
  tests::AddStartedRoot(machine, kOtherRootId).temper.removeDelay = 1200;
  EXPECT_TRUE(PruneDuplicateRoots().ok);
  EXPECT_EQ(Waited(), 1500U);
  for (const auto& sleep : tests::CallsOf(process, "Sleep")) {
    EXPECT_EQ(sleep.Argument("milliseconds"), "500");
  }
}

TEST_F(Pruning, FailsWhenTheDuplicateIsStillThereAfterHalfAMinute) {
  tests::AddStartedRoot(machine, kRootId);
  tests::AddStartedRoot(machine, kOtherRootId).temper.removeDelay = 60'000;
  const PruneResult result = PruneDuplicateRoots();
  EXPECT_FALSE(result.ok);
  EXPECT_EQ(result.remaining, 2U);
  EXPECT_EQ(process.ErrorOutput(), kUnproven);
}

TEST_F(Pruning, StartsItsHalfMinuteAfterTheRemovals) {
  tests::AddStartedRoot(machine, kRootId);
  tests::AddStartedRoot(machine, kOtherRootId).temper.removeDelay = 29'800;
  process.faults = {tests::SlowCall("SetupDiSetClassInstallParamsW", 60'000)};
  EXPECT_TRUE(PruneDuplicateRoots().ok);
  EXPECT_EQ(Waited(), 90'000U);
}

TEST_F(Pruning, WaitsJustAsLongWhereTheTickExceeds32Or63Bits) {
  for (const std::uint64_t tick : tests::kTicksBeforeAnOverflow) {
    machine = {};
    machine.clock.tick = tick;
    tests::AddStartedRoot(machine, kRootId);
    tests::AddStartedRoot(machine, kOtherRootId).temper.removeDelay = 60'000;
    EXPECT_FALSE(PruneDuplicateRoots().ok) << tick;
    EXPECT_EQ(machine.clock.tick - tick, 30'000U) << tick;
  }
}

TEST_F(Pruning, FailsWhenARootAppearsWhereThereWereOnlyGhosts) {
  tests::AddGhostRoot(machine, kRootId);
  process.faults = {tests::ChangeBefore("SetupDiGetClassDevsW", 2, [](Machine& changed) {
    tests::AddStartedRoot(changed, kOtherRootId);
  })};
  const PruneResult result = PruneDuplicateRoots();
  EXPECT_FALSE(result.ok);
  EXPECT_EQ(result.remaining, 1U);
  EXPECT_EQ(Waited(), 30'000U);
}

TEST_F(Pruning, FailsWhenTheLookBreaksOffEvenIfItSawOnlyTheKeptRoot) {
  tests::AddStartedRoot(machine, kRootId);
  // The look after the removals fails where its list should end.
  process.faults = {FailingCall("SetupDiEnumDeviceInfo", 13, 4)};
  const PruneResult result = PruneDuplicateRoots();
  EXPECT_FALSE(result.ok);
  EXPECT_EQ(result.remaining, 1U) << "what the look saw before it broke off";
  EXPECT_EQ(Waited(), 0U);
  EXPECT_EQ(process.ErrorOutput(), kUnproven);
}

TEST_F(Pruning, FailsAtOnceWhenTheLookBreaksOffAmongRootsThatAreStillGoing) {
  for (const char16_t* id : {kRootId, kOtherRootId, kThirdRootId})
    tests::AddStartedRoot(machine, id).temper.removeDelay = 400;
  // The list before the removals is four calls long; that after them breaks off at its third root.
  process.faults = {FailingCall("SetupDiEnumDeviceInfo", 13, 7)};
  const PruneResult result = PruneDuplicateRoots();
  EXPECT_FALSE(result.ok);
  EXPECT_EQ(result.remaining, 2U);
  EXPECT_EQ(Waited(), 0U) << "a list that broke off is not waited on";
}

TEST_F(Pruning, FailsAtOnceWhenTheLookFails) {
  tests::AddStartedRoot(machine, kRootId);
  process.faults = {FailingCall("SetupDiGetClassDevsW", 5, 2)};
  const PruneResult result = PruneDuplicateRoots();
  EXPECT_FALSE(result.ok);
  EXPECT_EQ(result.remaining, 0U);
  EXPECT_EQ(Waited(), 0U);
  EXPECT_EQ(process.ErrorOutput(), kUnproven);
}

TEST_F(Pruning, FailsWhenAnotherRootIsPresentInsteadOfTheKeptOne) {
  tests::AddStartedRoot(machine, kRootId);
  process.faults = {tests::ChangeBefore("SetupDiGetClassDevsW", 2, [](Machine& changed) {
    changed.devices.devices.clear();
    tests::AddStartedRoot(changed, kOtherRootId);
  })};
  const PruneResult result = PruneDuplicateRoots();
  EXPECT_FALSE(result.ok);
  EXPECT_EQ(result.remaining, 1U);
}

TEST_F(Pruning, RecognisesTheKeptRootByAnIdInAnotherCase) {
  tests::AddStartedRoot(machine, kRootId);
  process.faults = {tests::ChangeBefore("SetupDiGetClassDevsW", 2, [](Machine& changed) {
    changed.devices.devices.front().instanceId = u"root\\media\\0000";
  })};
  EXPECT_TRUE(PruneDuplicateRoots().ok);
}

TEST_F(Pruning, HoldsNoListWhileItSleeps) {
  tests::AddStartedRoot(machine, kRootId);
  tests::AddStartedRoot(machine, kOtherRootId).temper.removeDelay = 400;
  ASSERT_TRUE(PruneDuplicateRoots().ok);
  int open = 0;
  for (const auto& call : process.calls) {
    if (call.name == "SetupDiGetClassDevsW") ++open;
    if (call.name == "SetupDiDestroyDeviceInfoList") --open;
    if (call.name == "Sleep") {
      EXPECT_EQ(open, 0);
    }
  }
}

TEST_F(Pruning, LeavesARestartPendingWhicheverRemovalAskedForIt) {
  for (const std::size_t asking : {1U, 2U}) {
    machine = {};
    tests::AddStartedRoot(machine, kRootId);
    tests::AddGhostRoot(machine, kOtherRootId);
    tests::AddGhostRoot(machine, kThirdRootId);
    machine.devices.devices[asking].temper.removeNeedsRestart = true;
    const PruneResult result = PruneDuplicateRoots();
    EXPECT_TRUE(result.ok) << asking;
    EXPECT_TRUE(result.restartPending) << asking;
    EXPECT_EQ(Installed(), Ids{kRootId}) << asking;
  }
}

}  // namespace
}  // namespace vorn

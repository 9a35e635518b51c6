// Each platform call that discovery, pruning and the restart make fails in turn.

#include "devnode/duplicate_roots.h"
#include "devnode/hot_restart.h"
#include "devnode/root_discovery.h"
#include "tests/support/device_world.h"
#include "tests/support/each_call.h"

#include <algorithm>
#include <string>
#include <vector>

namespace vorn {
namespace {

using platform::simulated::Device;
using platform::simulated::FaultKind;
using platform::simulated::Machine;
using platform::simulated::Process;
using tests::kOtherRootId;
using tests::kRootId;
using tests::WithEachCallGoingWrong;

constexpr char16_t kStrangerId[] = u"ROOT\\AAA\\0000";

/// A stranger, a started root and a ghost.
Machine MachineWithAGhost() {
  Machine machine;
  Device& stranger = tests::AddStartedRoot(machine, kStrangerId);
  stranger.hardwareIds = {u"Root\\Other"};
  tests::AddGhostRoot(machine, kRootId);
  tests::AddStartedRoot(machine, kOtherRootId);
  tests::AddEndpointChild(machine, kOtherRootId, u"SWD\\MMDEVAPI\\1");
  return machine;
}

TEST(AFailingCall, NeverMakesDiscoveryTakeAnotherDeviceForTheRoot) {
  WithEachCallGoingWrong(
      MachineWithAGhost(), FaultKind::Fail, [] { return DiscoverLiveRoot(); },
      [](const Process& process, const Machine&, const LiveRoot& root) {
        EXPECT_EQ(root.ok, root.reason.empty());
        if (root.ok) {
          EXPECT_EQ(root.instanceId, kOtherRootId);
        }
        EXPECT_TRUE(process.console.empty());
      });
}

TEST(AFailingCall, NeverMakesPruningTouchTheKeptRootOrAStranger) {
  WithEachCallGoingWrong(
      MachineWithAGhost(), FaultKind::Fail, PruneDuplicateRoots,
      [](const Process& process, const Machine& machine, const PruneResult& result) {
        EXPECT_NE(machine.devices.Find(kStrangerId), nullptr);
        // A root that cannot be located counts as a ghost, whatever the reason.
        const auto locates = tests::CallsOf(process, "CM_Locate_DevNodeW");
        if (locates.size() == 2 && locates[1].result != "0") return;
        if (result.ok) {
          EXPECT_NE(machine.devices.Find(kOtherRootId), nullptr);
          EXPECT_EQ(result.remaining, 1U);
        } else {
          EXPECT_NE(process.ErrorOutput(), u"");
        }
      });
}

TEST(AFailingCall, NeverMakesAFailedRestartPass) {
  Machine machine = platform::simulated::InstalledMachine();
  machine.devices.Find(kRootId)->temper.restartProblem = 10;
  WithEachCallGoingWrong(
      machine, FaultKind::Fail, RunHotRestartPreflight,
      [](const Process& process, const Machine& after, const HotRestartResult& result) {
        EXPECT_EQ(result.passed,
                  IsStarted(*after.devices.Find(kRootId)) && process.ErrorOutput().empty());
        if (!result.passed) {
          EXPECT_NE(process.ErrorOutput(), u"");
        }
      });
}

TEST(AFailingCall, NeverMakesOneLookSeveral) {
  WithEachCallGoingWrong(
      MachineWithAGhost(), FaultKind::Fail, [] { return WaitForStartedRoot(0); },
      [](const Process& process, const Machine&, const StartWait&) {
        EXPECT_TRUE(process.console.empty());
      });
}

}  // namespace
}  // namespace vorn

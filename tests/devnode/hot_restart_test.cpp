#include "devnode/hot_restart.h"

#include "platform/config_manager.h"
#include "platform/last_error.h"
#include "tests/support/device_world.h"

#include <algorithm>
#include <string>
#include <vector>

namespace vorn {
namespace {

using platform::simulated::Device;
using platform::simulated::Machine;
using tests::FailingCall;
using tests::kOtherRootId;
using tests::kRootId;

/// The whole product is installed, so that the driver can stop and start.
class HotRestart : public tests::DeviceWorld {
 protected:
  HotRestart() : tests::DeviceWorld(platform::simulated::InstalledMachine()) {}

  Device& Root() { return *machine.devices.Find(kRootId); }
  void ExpectNothingRestarted() const {
    EXPECT_EQ(CountOf("SetupDiSetClassInstallParamsW"), 0U);
    EXPECT_EQ(CountOf("SetupDiCallClassInstaller"), 0U);
  }
};

TEST_F(HotRestart, PassesWhenTheRootComesBackStarted) {
  const HotRestartResult result = RunHotRestartPreflight();
  EXPECT_TRUE(result.passed);
  EXPECT_FALSE(result.restartRequested);
  EXPECT_EQ(process.Output(), u"vorn_devnode: VORN root hot-restart preflight passed\n");
  EXPECT_EQ(process.ErrorOutput(), u"");
  EXPECT_TRUE(IsStarted(Root()));
}

TEST_F(HotRestart, AsksForAPropertyChangeOfTheCurrentProfile) {
  RunHotRestartPreflight();
  EXPECT_EQ(tests::CallsOf(process, "SetupDiGetClassDevsW").front().Argument("Flags"), "0x6");
  const auto parameters = tests::CallsOf(process, "SetupDiSetClassInstallParamsW");
  ASSERT_EQ(parameters.size(), 1U);
  EXPECT_EQ(parameters[0].Argument("ClassInstallParamsSize"), "20");
  EXPECT_EQ(parameters[0].Argument("cbSize"), "8");
  EXPECT_EQ(parameters[0].Argument("InstallFunction"), "0x12");
  EXPECT_EQ(parameters[0].Argument("Parameter1"), "3");
  EXPECT_EQ(parameters[0].Argument("Parameter2"), "2");
  EXPECT_EQ(parameters[0].Argument("Parameter3"), "0");
  EXPECT_EQ(parameters[0].Argument("DeviceInfoData"), "ROOT\\MEDIA\\0000");
}

TEST_F(HotRestart, RestartsTheRootAndNoOtherDevice) {
  tests::AddGhostRoot(machine, kOtherRootId);
  tests::AddStartedRoot(machine, u"ROOT\\AAA\\0000").hardwareIds = {u"Root\\Other"};
  EXPECT_TRUE(RunHotRestartPreflight().passed);
  for (const char* call : {"SetupDiSetClassInstallParamsW", "SetupDiCallClassInstaller",
                           "SetupDiGetDeviceInstallParamsW"}) {
    const auto calls = tests::CallsOf(process, call);
    ASSERT_EQ(calls.size(), 1U) << call;
    EXPECT_EQ(calls[0].Argument("DeviceInfoData"), "ROOT\\MEDIA\\0000") << call;
  }
}

TEST_F(HotRestart, ReadsWhetherAMachineRestartIsNeededAfterTheDeviceRestart) {
  Root().temper.restartNeedsReboot = true;
  EXPECT_TRUE(RunHotRestartPreflight().restartRequested);
  const auto names = tests::CallNames(process);
  const auto set = std::find(names.begin(), names.end(), "SetupDiSetClassInstallParamsW");
  EXPECT_EQ(std::vector<std::string>(set, names.end()),
            (std::vector<std::string>{"SetupDiSetClassInstallParamsW", "SetupDiCallClassInstaller",
                                      "SetupDiGetDeviceInstallParamsW", "fputws", "fflush",
                                      "SetupDiDestroyDeviceInfoList"}));
}

TEST_F(HotRestart, IgnoresOtherInstallFlags) {
  Root().installFlags = 0xFFFFFE7F;
  EXPECT_TRUE(RunHotRestartPreflight().passed);
}

TEST_F(HotRestart, PassesWhenTheRootComesBackWithinHalfAMinute) {
  Root().temper.restartProblem = 10;
  process.faults = {tests::ChangeBefore("SetupDiGetClassDevsW", 62, [](Machine& changed) {
    Device* root = changed.devices.Find(kRootId);
    root->status |= platform::DN_STARTED;
    root->problem = 0;
  })};
  EXPECT_TRUE(RunHotRestartPreflight().passed);
  EXPECT_EQ(Waited(), 30'000U);
}

TEST_F(HotRestart, WaitsJustAsLongWhereTheTickExceeds32Or63Bits) {
  Root().temper.restartProblem = 10;
  for (const std::uint64_t tick : tests::kTicksBeforeAnOverflow) {
    machine.clock.tick = tick;
    EXPECT_FALSE(RunHotRestartPreflight().passed) << tick;
    EXPECT_EQ(machine.clock.tick - tick, 30'000U) << tick;
  }
}

TEST_F(HotRestart, FailsWithoutAList) {
  process.faults = {FailingCall("SetupDiGetClassDevsW", 8)};
  const HotRestartResult result = RunHotRestartPreflight();
  EXPECT_FALSE(result.passed);
  EXPECT_FALSE(result.restartRequested);
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: SetupDiGetClassDevs(hot-swap preflight) failed (error 0x00000008)\n");
  ExpectNothingRestarted();
}

TEST_F(HotRestart, RefusesAMachineWithoutAPresentRoot) {
  Root().present = false;
  const HotRestartResult result = RunHotRestartPreflight();
  EXPECT_FALSE(result.passed);
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: hot-swap preflight requires exactly one present VORN root (found 0)\n");
  ExpectNothingRestarted();
}

TEST_F(HotRestart, RefusesTwoPresentRoots) {
  tests::AddStoppedRoot(machine, kOtherRootId, 28);
  const HotRestartResult result = RunHotRestartPreflight();
  EXPECT_FALSE(result.passed);
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: hot-swap preflight requires exactly one present VORN root (found 2)\n");
  ExpectNothingRestarted();
}

TEST_F(HotRestart, CountsEveryPresentRoot) {
  tests::AddStoppedRoot(machine, kOtherRootId, 28);
  tests::AddStoppedRoot(machine, u"ROOT\\MEDIA\\0002", 28);
  EXPECT_FALSE(RunHotRestartPreflight().passed);
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: hot-swap preflight requires exactly one present VORN root (found 3)\n");
}

TEST_F(HotRestart, RefusesAnEnumerationThatBreaksOff) {
  process.faults = {FailingCall("SetupDiEnumDeviceInfo", 13, 2)};
  EXPECT_FALSE(RunHotRestartPreflight().passed);
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: hot-swap preflight requires exactly one present VORN root (found 1)\n");
  ExpectNothingRestarted();
}

TEST_F(HotRestart, ReportsBothCallsOfTheRestartUnderOneName) {
  for (const char* call : {"SetupDiSetClassInstallParamsW", "SetupDiCallClassInstaller"}) {
    process.console.clear();
    process.callCounts.clear();
    process.faults = {FailingCall(call, 0xE000020B)};
    const HotRestartResult result = RunHotRestartPreflight();
    EXPECT_FALSE(result.passed) << call;
    EXPECT_FALSE(result.restartRequested) << call;
    EXPECT_EQ(process.ErrorOutput(),
              u"vorn_devnode: SetupDiCallClassInstaller(hot-swap preflight) failed (error "
              u"0xE000020B)\n")
        << call;
    EXPECT_EQ(process.Output(), u"") << call;
  }
}

TEST_F(HotRestart, FailsWhenTheInstallFlagsCannotBeRead) {
  process.faults = {FailingCall("SetupDiGetDeviceInstallParamsW", 87)};
  const HotRestartResult result = RunHotRestartPreflight();
  EXPECT_FALSE(result.passed);
  EXPECT_FALSE(result.restartRequested);
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: SetupDiGetDeviceInstallParams(hot-swap preflight) failed (error "
            u"0x00000057)\n");
  EXPECT_EQ(Waited(), 0U);
  EXPECT_EQ(CountOf("CM_Get_DevNode_Status"), 0U);
}

TEST_F(HotRestart, RefusesADeviceThatNeedsAMachineRestartAndDoesNotWait) {
  for (const std::uint32_t flag : {platform::DI_NEEDRESTART, platform::DI_NEEDREBOOT}) {
    process.console.clear();
    Root().installFlags = flag;
    const HotRestartResult result = RunHotRestartPreflight();
    EXPECT_FALSE(result.passed) << flag;
    EXPECT_TRUE(result.restartRequested) << flag;
    EXPECT_EQ(process.ErrorOutput(),
              u"vorn_devnode: hot-swap preflight requested a system restart; refusing candidate "
              u"before bind\n")
        << flag;
    EXPECT_EQ(process.Output(), u"") << flag;
    EXPECT_EQ(CountOf("Sleep"), 0U) << flag;
  }
}

TEST_F(HotRestart, ReportsTheProblemOfARootThatStaysStopped) {
  Root().temper.restartProblem = platform::CM_PROB_DISABLED;
  const HotRestartResult result = RunHotRestartPreflight();
  EXPECT_FALSE(result.passed);
  EXPECT_FALSE(result.restartRequested);
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: VORN root did not restart during hot-swap preflight (CM_PROB=22)\n");
  EXPECT_EQ(process.Output(), u"");
  EXPECT_EQ(Waited(), 30'000U);
}

TEST_F(HotRestart, ReportsARootThatVanishes) {
  process.faults = {tests::ChangeBefore("SetupDiGetClassDevsW", 2, [](Machine& changed) {
    changed.devices.Find(kRootId)->present = false;
  })};
  EXPECT_FALSE(RunHotRestartPreflight().passed);
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: VORN root did not restart during hot-swap preflight (CM_PROB=0)\n");
}

}  // namespace
}  // namespace vorn

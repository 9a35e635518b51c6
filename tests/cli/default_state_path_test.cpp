#include "cli/default_state_path.h"

#include "platform/simulated/calls.h"
#include "tests/support/device_world.h"

#include <string>

namespace vorn::cli {
namespace {

using platform::simulated::Machine;

class DefaultStatePath : public tests::DeviceWorld {};

TEST_F(DefaultStatePath, LiesAboveTheFolderOfTheInfAsTyped) {
  machine.files.currentFolder = u"C:\\pkg";
  EXPECT_EQ(StatePathForInf(u"driver\\vorn_audio.inf"), u"C:\\pkg\\.vorn-driver-activation-state");
}

TEST_F(DefaultStatePath, AsksForTheLengthFirstAndLeavesRoomForOneUnitMore) {
  StatePathForInf(u"C:\\pkg\\driver\\vorn_audio.inf");
  const auto calls = tests::CallsOf(process, "GetFullPathNameW");
  ASSERT_EQ(calls.size(), 2U);
  EXPECT_EQ(calls[0].Argument("nBufferLength"), "0");
  EXPECT_EQ(calls[1].Argument("nBufferLength"), "30");  // 28 units, the terminator, one more
}

TEST_F(DefaultStatePath, IsEmptyWhenTheLengthIsNotTold) {
  process.faults = {tests::FailingCall("GetFullPathNameW", platform::ERROR_INVALID_NAME)};
  EXPECT_EQ(StatePathForInf(u"driver\\vorn_audio.inf"), u"");
  EXPECT_EQ(CountOf("GetFullPathNameW"), 1U);
}

TEST_F(DefaultStatePath, IsEmptyRatherThanCutWhenThePathGrowsBetweenTheTwoCalls) {
  machine.files.currentFolder = u"C:\\pkg";
  process.faults = {tests::ChangeBefore("GetFullPathNameW", 2, [](Machine& world) {
    world.files.currentFolder = u"C:\\package\\of\\many\\folders";
  })};
  EXPECT_EQ(StatePathForInf(u"driver\\vorn_audio.inf"), u"");
}

TEST_F(DefaultStatePath, HasRoomForAPathThatGrowsByOneUnit) {
  machine.files.currentFolder = u"C:\\pkg";
  process.faults = {tests::ChangeBefore(
      "GetFullPathNameW", 2, [](Machine& world) { world.files.currentFolder = u"C:\\pkgs"; })};
  EXPECT_EQ(StatePathForInf(u"driver\\vorn_audio.inf"), u"C:\\pkgs\\.vorn-driver-activation-state");
}

TEST_F(DefaultStatePath, FollowsAPathThatShrinksBetweenTheTwoCalls) {
  machine.files.currentFolder = u"C:\\package\\of\\many\\folders";
  process.faults = {tests::ChangeBefore(
      "GetFullPathNameW", 2, [](Machine& world) { world.files.currentFolder = u"C:\\pkg"; })};
  EXPECT_EQ(StatePathForInf(u"driver\\vorn_audio.inf"), u"C:\\pkg\\.vorn-driver-activation-state");
}

}  // namespace
}  // namespace vorn::cli

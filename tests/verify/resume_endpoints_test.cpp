#include "verify/resume_endpoints.h"

#include "platform/config_manager.h"
#include "tests/control/control_world.h"

#include <string>
#include <vector>

namespace vorn {
namespace {

using tests::FailingCall;

class ResumeCommand : public tests::ControlWorld {
 protected:
  void HideEverything() {
    for (const EndpointIdentity& endpoint : AllEndpointIdentities()) {
      Root().hidden.insert({endpoint.cableIndex, endpoint.capture ? 1U : 0U});
    }
  }
};

TEST_F(ResumeCommand, ShowsEveryEndpoint) {
  HideEverything();
  EXPECT_EQ(ResumeEndpoints(), kExitOk);
  EXPECT_TRUE(Root().hidden.empty());
  EXPECT_EQ(process.Output(), u"vorn_devnode: resume-endpoints: 20 shown, 0 failed\n");
  EXPECT_EQ(process.ErrorOutput(), u"");
  std::vector<std::string> expected(22, "0x22A01C");
  expected.front() = "0x226000";
  expected.back() = "0x22A004";
  EXPECT_EQ(Codes(), expected);
  EXPECT_FALSE(Root().leaseHeld);
}

TEST_F(ResumeCommand, DoesNotListTheEndpointsInPlugAndPlay) {
  EXPECT_EQ(ResumeEndpoints(), kExitOk);
  EXPECT_EQ(CountOf("CM_Get_Child"), 0U);
}

TEST_F(ResumeCommand, NeedsALiveRoot) {
  Root().present = false;
  EXPECT_EQ(ResumeEndpoints(), kExitNotStarted);
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: resume-endpoints: no live VORN root: no present Root\\VornAudio "
            u"devnode\n");
  EXPECT_EQ(process.Output(), u"");
}

TEST_F(ResumeCommand, NeedsARootThatIsStarted) {
  Root().status = 0;
  Root().problem = platform::CM_PROB_DISABLED;
  EXPECT_EQ(ResumeEndpoints(), kExitNotStarted);
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: resume-endpoints: no live VORN root: present VORN root is not started "
            u"cleanly\n");
  EXPECT_EQ(CountOf("CreateFileW"), 0U);
}

TEST_F(ResumeCommand, NeedsTheChannel) {
  Root().interfaces[0].openError = 5;
  EXPECT_EQ(ResumeEndpoints(), kExitNotStarted);
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: resume-endpoints: no openable VORN interface on this root (control and "
            u"KS both failed, last error 0x00000005)\n");
  EXPECT_EQ(CountOf("DeviceIoControl"), 0U);
}

TEST_F(ResumeCommand, NeedsTheLease) {
  Image().failures[kAcquireLeaseCode] = 170;
  EXPECT_EQ(ResumeEndpoints(), kExitHotSwapFailed);
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: resume-endpoints: controller lease unavailable (error 0x000000AA)\n");
  EXPECT_EQ(Codes(), std::vector<std::string>{"0x226000"});
  EXPECT_EQ(process.Output(), u"");
}

TEST_F(ResumeCommand, AcceptsALeaseReplyOfAnyLength) {
  for (std::uint32_t bytes = 0; bytes <= 16; ++bytes) {
    SCOPED_TRACE(bytes);
    HideEverything();
    Image().leaseBytes = bytes;
    EXPECT_EQ(ResumeEndpoints(), kExitOk);
    EXPECT_TRUE(Root().hidden.empty());
  }
  EXPECT_EQ(process.ErrorOutput(), u"");
}

TEST_F(ResumeCommand, ShowsRenderThenCaptureInTheOrderOfTheCables) {
  ResumeEndpoints();
  std::vector<std::string> shown;
  for (const auto& call : tests::CallsOf(process, "DeviceIoControl")) {
    if (call.Argument("controlCode") == "0x22A01C") shown.push_back(call.Argument("input"));
  }
  std::vector<std::string> expected;
  for (const std::string flow : {"00000000", "01000000"}) {
    for (char cable = '0'; cable <= '9'; ++cable)
      expected.push_back(std::string("0") + cable + "000000" + flow + "01000000");
  }
  EXPECT_EQ(shown, expected);
}

TEST_F(ResumeCommand, ShowsNothingUnderALeaseThatFailsAfterItsReply) {
  HideEverything();
  process.faults = {FailingCall("DeviceIoControl", 31)};
  process.faults[0].kind = platform::simulated::FaultKind::FailAfterEffect;
  EXPECT_EQ(ResumeEndpoints(), kExitHotSwapFailed);
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: resume-endpoints: controller lease unavailable (error 0x0000001F)\n");
  EXPECT_EQ(Root().hidden.size(), 20U);
}

TEST_F(ResumeCommand, CountsWhatCannotBeShown) {
  HideEverything();
  Image().refusesToShow[{4, 0}] = 31;
  Image().refusesToShow[{9, 1}] = 5;
  EXPECT_EQ(ResumeEndpoints(), kExitEndpointsMissing);
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: resume-endpoints: cable 4 render failed (error 0x0000001F)\n"
            u"vorn_devnode: resume-endpoints: cable 9 capture failed (error 0x00000005)\n");
  EXPECT_EQ(process.Output(), u"vorn_devnode: resume-endpoints: 18 shown, 2 failed\n");
  EXPECT_EQ(Codes().size(), 22U);
  EXPECT_EQ(Codes().back(), "0x22A004");
}

TEST_F(ResumeCommand, TakesNoErrorForAnEndpointThatIsShown) {
  for (const std::uint32_t error : {0U, 1U, 2U, 3U, 5U, 18U, 87U, 183U, 234U, 259U, 997U, 1168U}) {
    process.console.clear();
    Image().refusesToShow[{4, 0}] = error;
    EXPECT_EQ(ResumeEndpoints(), kExitEndpointsMissing) << error;
    EXPECT_EQ(process.Output(), u"vorn_devnode: resume-endpoints: 19 shown, 1 failed\n") << error;
  }
}

TEST_F(ResumeCommand, ReportsThatNothingCouldBeShown) {
  Image().failures[kSetCableVisibilityCode] = 5;
  EXPECT_EQ(ResumeEndpoints(), kExitEndpointsMissing);
  EXPECT_EQ(process.Output(), u"vorn_devnode: resume-endpoints: 0 shown, 20 failed\n");
}

TEST_F(ResumeCommand, IgnoresAReleaseThatFails) {
  Image().failures[kReleaseLeaseCode] = 5;
  EXPECT_EQ(ResumeEndpoints(), kExitOk);
  EXPECT_EQ(process.ErrorOutput(), u"");
}

TEST_F(ResumeCommand, ClosesTheHandleBeforeItReports) {
  ResumeEndpoints();
  const std::size_t size = process.calls.size();
  ASSERT_GE(size, 3U);
  EXPECT_EQ(process.calls[size - 1].name, "fflush");
  EXPECT_EQ(process.calls[size - 2].name, "fputws");
  EXPECT_EQ(process.calls[size - 3].name, "CloseHandle");
}

}  // namespace
}  // namespace vorn

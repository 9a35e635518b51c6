#include "control/endpoint_quiesce.h"

#include "base/format.h"
#include "platform/last_error.h"
#include "tests/control/control_world.h"

#include <optional>
#include <string>
#include <type_traits>
#include <vector>

namespace vorn {
namespace {

using tests::FailingCall;
using tests::kRootId;

static_assert(!std::is_copy_constructible_v<QuiesceGuard>);
static_assert(!std::is_move_constructible_v<QuiesceGuard>);
static_assert(!std::is_copy_assignable_v<QuiesceGuard>);
static_assert(!std::is_move_assignable_v<QuiesceGuard>);

constexpr char kLease[] = "0x226000";
constexpr char kRelease[] = "0x22A004";
constexpr char kVisibility[] = "0x22A01C";

class Quiesce : public tests::ControlWorld {
 protected:
  bool Hide() { return guard_->Hide(); }
  bool Show() { return guard_->Show(); }
  std::size_t CountOfCode(const std::string& code) const {
    std::size_t count = 0;
    for (const std::string& sent : Codes())
      count += sent == code ? 1 : 0;
    return count;
  }
  void ForgetCalls() {
    process.calls.clear();
    process.callCounts.clear();
    process.console.clear();
  }
  void TearDown() override {
    guard_.reset();
    ControlWorld::TearDown();
  }

  std::optional<QuiesceGuard> guard_{std::in_place, kRootId};
};

TEST_F(Quiesce, HidesEveryEndpointUnderTheLease) {
  EXPECT_TRUE(Hide());
  EXPECT_EQ(Root().hidden.size(), 20U);
  ASSERT_EQ(guard_->Hidden().size(), 20U);
  for (std::size_t i = 0; i < 20; ++i) {
    EXPECT_EQ(guard_->Hidden()[i], AllEndpointIdentities()[i]);
  }
  std::vector<std::string> expected(22, kVisibility);
  expected.front() = kLease;
  expected.back() = kRelease;
  EXPECT_EQ(Codes(), expected);
  EXPECT_FALSE(Root().leaseHeld);
  EXPECT_TRUE(process.console.empty());
  EXPECT_EQ(process.OpenObjects()[platform::simulated::ObjectKind::Handle], 0U);
}

TEST_F(Quiesce, SendsRequestsOfTheirExactBytes) {
  Hide();
  const auto calls = tests::CallsOf(process, "DeviceIoControl");
  ASSERT_EQ(calls.size(), 22U);
  EXPECT_EQ(calls[0].Argument("input"), "00000000");
  EXPECT_EQ(calls[0].Argument("outputSize"), "16");
  EXPECT_EQ(calls[1].Argument("input"), "000000000000000000000000");
  EXPECT_EQ(calls[1].Argument("outputSize"), "0");
  EXPECT_EQ(calls[5].Argument("input"), "040000000000000000000000");
  EXPECT_EQ(calls[20].Argument("input"), "090000000100000000000000");
  EXPECT_EQ(calls[21].Argument("input"), "00000000");
  EXPECT_EQ(calls[21].Argument("outputSize"), "0");
  ForgetCalls();
  Show();
  const auto shows = tests::CallsOf(process, "DeviceIoControl");
  ASSERT_EQ(shows.size(), 22U);
  EXPECT_EQ(shows[1].Argument("input"), "000000000000000001000000");
  EXPECT_EQ(shows[20].Argument("input"), "090000000100000001000000");
}

TEST_F(Quiesce, ShowsWhatWasHiddenAndEmptiesTheList) {
  Hide();
  ForgetCalls();
  EXPECT_TRUE(Show());
  EXPECT_TRUE(guard_->Hidden().empty());
  EXPECT_TRUE(Root().hidden.empty());
  EXPECT_EQ(CountOfCode(kVisibility), 20U);
  ForgetCalls();
  guard_.reset();
  EXPECT_TRUE(process.calls.empty());
}

TEST_F(Quiesce, ReportsADeviceThatDoesNotOpen) {
  Root().interfaces[0].openError = 5;
  EXPECT_FALSE(Hide());
  EXPECT_TRUE(guard_->Hidden().empty());
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: driver quiesce could not open the device: no openable VORN interface "
            u"on this root (control and KS both failed, last error 0x00000005)\n");
  EXPECT_EQ(CountOf("DeviceIoControl"), 0U);
}

TEST_F(Quiesce, ReportsALeaseThatFails) {
  Image().failures[kAcquireLeaseCode] = 170;
  EXPECT_FALSE(Hide());
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: driver quiesce could not acquire the controller lease (error "
            u"0x000000AA)\n");
  EXPECT_EQ(Codes(), std::vector<std::string>{kLease});
}

TEST_F(Quiesce, RefusesALeaseReplyOfLessThan16Bytes) {
  for (std::uint32_t bytes = 0; bytes < 16; ++bytes) {
    SCOPED_TRACE(bytes);
    ForgetCalls();
    Image().leaseBytes = bytes;
    EXPECT_FALSE(Hide());
    EXPECT_TRUE(guard_->Hidden().empty());
    // The call that gave too little succeeded: the error is whatever the last error is by then.
    const std::uint32_t error = tests::CallsOf(process, "DeviceIoControl").at(0).lastError;
    EXPECT_EQ(process.ErrorOutput(),
              Format(u"vorn_devnode: driver quiesce could not acquire the controller lease (error "
                     u"0x%08lX)\n",
                     error));
    EXPECT_EQ(Codes(), std::vector<std::string>{kLease});
    EXPECT_FALSE(Root().leaseHeld) << "closing the handle gives the lease up";
  }
}

TEST_F(Quiesce, SaysTheLastErrorOfALeaseReplyThatIsTooShort) {
  Image().leaseBytes = 15;
  // The last call before the lease leaves its error behind, although it succeeds.
  process.faults = {tests::ChangeBefore(
      "DeviceIoControl", 1, [](platform::simulated::Machine&) { platform::SetLastError(0x5A5); })};
  EXPECT_FALSE(Hide());
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: driver quiesce could not acquire the controller lease (error "
            u"0x000005A5)\n");
}

TEST_F(Quiesce, KeepsTheListWhenTheLeaseToShowItFails) {
  Hide();
  Image().failures[kAcquireLeaseCode] = 170;
  ForgetCalls();
  EXPECT_FALSE(Show());
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: driver quiesce could not acquire the controller lease (error "
            u"0x000000AA)\n");
  EXPECT_EQ(guard_->Hidden().size(), 20U);
  Image().failures.clear();
  ForgetCalls();
  guard_.reset();
  EXPECT_EQ(CountOfCode(kVisibility), 20U);
  EXPECT_TRUE(Root().hidden.empty());
}

TEST_F(Quiesce, KeepsTheListWhenTheLeaseReplyToShowItIsShort) {
  Hide();
  Image().leaseBytes = 8;
  EXPECT_FALSE(Show());
  EXPECT_EQ(guard_->Hidden().size(), 20U);
  EXPECT_EQ(Root().hidden.size(), 20U);
  Image().leaseBytes = 16;
  EXPECT_TRUE(Show());
}

TEST_F(Quiesce, KeepsTheListWhenTheDeviceDoesNotOpenToShowIt) {
  Hide();
  Root().interfaces[0].openError = 32;
  ForgetCalls();
  EXPECT_FALSE(Show());
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: driver quiesce could not open the device: no openable VORN interface "
            u"on this root (control and KS both failed, last error 0x00000020)\n");
  EXPECT_EQ(guard_->Hidden().size(), 20U);
  Root().interfaces[0].openError = 0;
  EXPECT_TRUE(Show());
  EXPECT_TRUE(Root().hidden.empty());
}

TEST_F(Quiesce, OpensTheDeviceAnewForEachExchange) {
  Hide();
  EXPECT_EQ(CountOf("CreateFileW"), 1U);
  EXPECT_EQ(CountOf("CloseHandle"), 1U);
  Show();
  EXPECT_EQ(CountOf("CreateFileW"), 2U);
  EXPECT_EQ(CountOf("CloseHandle"), 2U);
}

TEST_F(Quiesce, DoesNotBelieveALeaseThatFailsAfterItsReply) {
  process.faults = {FailingCall("DeviceIoControl", 31)};
  process.faults[0].kind = platform::simulated::FaultKind::FailAfterEffect;
  EXPECT_FALSE(Hide());
  EXPECT_TRUE(Root().hidden.empty());
  EXPECT_EQ(Codes(), std::vector<std::string>{kLease});
}

TEST_F(Quiesce, GoesOnWhenOneEndpointCannotBeHidden) {
  Image().refusesToHide[{4, 0}] = 31;
  EXPECT_FALSE(Hide());
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: could not hide cable 4 render (error 0x0000001F)\n");
  EXPECT_EQ(guard_->Hidden().size(), 19U);
  EXPECT_EQ(Root().hidden.size(), 19U);
  EXPECT_EQ(Codes().back(), kRelease);
  ForgetCalls();
  guard_.reset();
  EXPECT_TRUE(Root().hidden.empty());
  EXPECT_EQ(CountOfCode(kVisibility), 19U);
}

TEST_F(Quiesce, ShowsWhatItHadHiddenWhenHidingAgainFails) {
  Hide();
  Image().failures[kSetCableVisibilityCode] = 5;
  EXPECT_FALSE(Hide());
  EXPECT_EQ(guard_->Hidden().size(), 20U);
  Image().failures.clear();
  guard_.reset();
  EXPECT_TRUE(Root().hidden.empty());
}

TEST_F(Quiesce, TakesNoErrorForAnEndpointThatIsHidden) {
  for (const std::uint32_t error : {0U, 1U, 2U, 3U, 5U, 18U, 87U, 183U, 234U, 259U, 997U, 1168U}) {
    Image().refusesToHide[{4, 0}] = error;
    guard_.emplace(kRootId);
    EXPECT_FALSE(Hide()) << error;
    EXPECT_EQ(guard_->Hidden().size(), 19U) << error;
  }
}

TEST_F(Quiesce, ListsNothingWhenNoEndpointCanBeHidden) {
  Image().failures[kSetCableVisibilityCode] = 5;
  EXPECT_FALSE(Hide());
  EXPECT_TRUE(guard_->Hidden().empty());
  EXPECT_EQ(process.console.size(), 20U);
  EXPECT_EQ(process.console[0].text,
            u"vorn_devnode: could not hide cable 0 render (error 0x00000005)\n");
  EXPECT_EQ(process.console[19].text,
            u"vorn_devnode: could not hide cable 9 capture (error 0x00000005)\n");
  EXPECT_EQ(Codes().back(), kRelease);
  ForgetCalls();
  guard_.reset();
  EXPECT_TRUE(process.calls.empty());
}

TEST_F(Quiesce, KeepsTheWholeListWhenOneEndpointCannotBeShown) {
  Hide();
  Image().refusesToShow[{7, 1}] = 31;
  ForgetCalls();
  EXPECT_FALSE(Show());
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: could not re-show cable 7 capture (error 0x0000001F)\n");
  EXPECT_EQ(guard_->Hidden().size(), 20U);
  EXPECT_EQ(CountOfCode(kVisibility), 20U);
  EXPECT_EQ(Codes().back(), kRelease);

  Image().refusesToShow.clear();
  ForgetCalls();
  guard_.reset();
  EXPECT_EQ(CountOfCode(kVisibility), 20U);
  EXPECT_TRUE(Root().hidden.empty());
  EXPECT_TRUE(process.console.empty());
}

TEST_F(Quiesce, TakesNoErrorForAnEndpointThatIsShown) {
  Hide();
  for (const std::uint32_t error :
       {0U, 1U, 2U, 3U, 5U, 18U, 87U, 122U, 183U, 234U, 259U, 997U, 1168U}) {
    Image().refusesToShow[{7, 1}] = error;
    EXPECT_FALSE(Show()) << error;
    EXPECT_EQ(guard_->Hidden().size(), 20U) << error;
  }
  Image().refusesToShow.clear();
}

TEST_F(Quiesce, ReportsAgainAtTheEndWhatStillCannotBeShown) {
  Hide();
  Image().refusesToShow[{0, 0}] = 31;
  guard_.reset();
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: could not re-show cable 0 render (error 0x0000001F)\n");
  EXPECT_EQ(Root().hidden.size(), 1U);
}

TEST_F(Quiesce, ReportsAtTheEndThatTheDeviceIsGone) {
  Hide();
  machine.devices.devices.clear();
  guard_.reset();
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: driver quiesce could not open the device: no openable VORN interface "
            u"on this root (control and KS both failed, last error 0x00000002)\n");
}

TEST_F(Quiesce, ShowsNothingThatItForgot) {
  Hide();
  ForgetCalls();
  guard_->Forget();
  EXPECT_TRUE(guard_->Hidden().empty());
  guard_.reset();
  EXPECT_TRUE(process.calls.empty());
  EXPECT_EQ(Root().hidden.size(), 20U);
}

TEST_F(Quiesce, ShowsNothingThatItDidNotHide) {
  Root().hidden = {{3, 0}};
  guard_.reset();
  EXPECT_TRUE(process.calls.empty());
  EXPECT_EQ(Root().hidden.size(), 1U);
}

TEST_F(Quiesce, ShowsInTheOrderHidden) {
  Image().refusesToHide[{1, 0}] = 31;
  Hide();
  ForgetCalls();
  Image().failures[kSetCableVisibilityCode] = 5;
  EXPECT_FALSE(Show());
  ASSERT_EQ(process.console.size(), 19U);
  EXPECT_EQ(process.console[0].text,
            u"vorn_devnode: could not re-show cable 0 render (error 0x00000005)\n");
  EXPECT_EQ(process.console[1].text,
            u"vorn_devnode: could not re-show cable 2 render (error 0x00000005)\n");
  EXPECT_EQ(process.console[18].text,
            u"vorn_devnode: could not re-show cable 9 capture (error 0x00000005)\n");
}

TEST_F(Quiesce, IgnoresAReleaseThatFails) {
  Image().failures[kReleaseLeaseCode] = 5;
  EXPECT_TRUE(Hide());
  EXPECT_TRUE(Show());
  EXPECT_TRUE(guard_->Hidden().empty());
  EXPECT_TRUE(process.console.empty());
  Image().failures.clear();
}

TEST_F(Quiesce, NamesItsRoot) {
  EXPECT_EQ(guard_->RootInstanceId(), kRootId);
}

}  // namespace
}  // namespace vorn

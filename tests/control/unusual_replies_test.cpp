// A driver that replies with more than there is room for, that takes its time, or that is gone
// before it has replied.

#include "control/endpoint_pool.h"
#include "control/endpoint_quiesce.h"
#include "control/resident_status.h"
#include "platform/simulated/clock.h"
#include "report/exit_status.h"
#include "tests/control/control_world.h"
#include "verify/resume_endpoints.h"

#include <cstdint>
#include <string>

namespace vorn {
namespace {

using platform::simulated::EventKind;
using platform::simulated::Fault;
using platform::simulated::FaultKind;
using platform::simulated::Plan;
using tests::kRootId;

constexpr char16_t kVersion[] = u"26.8.10.5";

class UnusualReply : public tests::ControlWorld {
 protected:
  /// Makes the driver reply to `code` with that many bytes.
  void ReplyWith(std::uint32_t code, std::size_t bytes) {
    Image().replies[code] = platform::simulated::Bytes(bytes, 0x11);
  }
  void TakeTime(std::uint32_t code, std::uint64_t milliseconds) {
    Image().delays[code] = milliseconds;
  }
  /// Plans the removal of the device while the request waits for its reply.
  void LoseTheDeviceDuring(std::uint32_t code) {
    TakeTime(code, 5000);
    Plan(machine, 1000, EventKind::RemoveDevice, kRootId);
  }
  bool HasClosedTheChannel() {
    return process.OpenObjects()[platform::simulated::ObjectKind::Handle] == 0 &&
           CountOf("CloseHandle") == CountOf("CreateFileW");
  }
};

TEST_F(UnusualReply, ThatIsLongerThanThePoolFails) {
  ReplyWith(kEndpointPoolCode, 2805);
  EXPECT_EQ(QueryEndpointPool(kRootId).reason,
            u"live endpoint-pool IOCTL failed (error 0x0000007A)");
  EXPECT_EQ(CountOf("DeviceIoControl"), 1U);
  EXPECT_TRUE(HasClosedTheChannel());
}

TEST_F(UnusualReply, ThatIsLongerThanTheStatusFails) {
  ReplyWith(kGetStatusCode, 129);
  EXPECT_EQ(QueryResidentStatus(kRootId, kVersion).reason,
            u"driver did not answer GET_STATUS (error 0x0000007A); resident image cannot be "
            u"proven");
  EXPECT_EQ(CountOf("DeviceIoControl"), 1U);
  EXPECT_TRUE(HasClosedTheChannel());
}

TEST_F(UnusualReply, ThatIsLongerThanTheLeaseHidesNothing) {
  ReplyWith(kAcquireLeaseCode, 17);
  {
    QuiesceGuard guard(kRootId);
    EXPECT_FALSE(guard.Hide());
    EXPECT_TRUE(guard.Hidden().empty());
  }
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: driver quiesce could not acquire the controller lease (error "
            u"0x0000007A)\n");
  EXPECT_TRUE(Root().hidden.empty());
  EXPECT_FALSE(Root().leaseHeld);
  EXPECT_TRUE(HasClosedTheChannel());
}

TEST_F(UnusualReply, ThatIsSaidToBeIncompleteIsNone) {
  process.faults = {tests::FailingAfterEffect("DeviceIoControl", 234)};
  EXPECT_EQ(QueryResidentStatus(kRootId, kVersion).reason,
            u"driver did not answer GET_STATUS (error 0x000000EA); resident image cannot be "
            u"proven");
}

/// What follows the last known field does not matter.
TEST_F(UnusualReply, ThatFillsItsBufferIsReadUpToTheLastKnownField) {
  Image().statusBytes = 124;
  Fault padded;
  padded.call = "DeviceIoControl";
  padded.kind = FaultKind::Long;
  padded.amount = 100;
  process.faults = {padded};
  EXPECT_TRUE(QueryResidentStatus(kRootId, kVersion).ok);
}

TEST_F(UnusualReply, ThatIsLateIsWaitedFor) {
  TakeTime(kEndpointPoolCode, 70'000);
  TakeTime(kGetStatusCode, 80'000);
  const std::uint64_t begin = machine.clock.tick;
  EXPECT_TRUE(QueryEndpointPool(kRootId).ok);
  EXPECT_TRUE(QueryResidentStatus(kRootId, kVersion).ok);
  EXPECT_EQ(machine.clock.tick, begin + 150'000);
  EXPECT_EQ(CountOf("DeviceIoControl"), 2U);
  EXPECT_EQ(CountOf("Sleep"), 0U);
  EXPECT_TRUE(HasClosedTheChannel());
}

TEST_F(UnusualReply, OfASlowDriverHidesAndShowsEveryEndpoint) {
  TakeTime(kAcquireLeaseCode, 3000);
  TakeTime(kSetCableVisibilityCode, 1000);
  const std::uint64_t begin = machine.clock.tick;
  QuiesceGuard guard(kRootId);
  EXPECT_TRUE(guard.Hide());
  EXPECT_EQ(Root().hidden.size(), 20U);
  EXPECT_TRUE(guard.Show());
  EXPECT_TRUE(Root().hidden.empty());
  EXPECT_EQ(machine.clock.tick, begin + 46'000);
  EXPECT_TRUE(process.console.empty());
}

TEST_F(UnusualReply, ThatNeverComesIsAFailedRequest) {
  LoseTheDeviceDuring(kEndpointPoolCode);
  EXPECT_EQ(QueryEndpointPool(kRootId).reason,
            u"live endpoint-pool IOCTL failed (error 0x000001B1)");
  EXPECT_TRUE(HasClosedTheChannel());
}

TEST_F(UnusualReply, ThatNeverComesProvesNoImage) {
  LoseTheDeviceDuring(kGetStatusCode);
  EXPECT_EQ(QueryResidentStatus(kRootId, kVersion).reason,
            u"driver did not answer GET_STATUS (error 0x000001B1); resident image cannot be "
            u"proven");
  EXPECT_TRUE(HasClosedTheChannel());
}

TEST_F(UnusualReply, ThatNeverComesLeavesNoLease) {
  LoseTheDeviceDuring(kAcquireLeaseCode);
  QuiesceGuard guard(kRootId);
  EXPECT_FALSE(guard.Hide());
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: driver quiesce could not acquire the controller lease (error "
            u"0x000001B1)\n");
  EXPECT_TRUE(guard.Hidden().empty());
  EXPECT_EQ(CountOf("DeviceIoControl"), 1U);
  EXPECT_TRUE(HasClosedTheChannel());
}

/// The second endpoint and all later ones are not hidden, and each of them is reported.
TEST_F(UnusualReply, ThatStopsComingIsReportedForEachEndpoint) {
  TakeTime(kSetCableVisibilityCode, 600);
  Plan(machine, 1000, EventKind::RemoveDevice, kRootId);
  {
    QuiesceGuard guard(kRootId);
    EXPECT_FALSE(guard.Hide());
    EXPECT_EQ(guard.Hidden().size(), 1U);
    const std::u16string said = process.ErrorOutput();
    EXPECT_EQ(said.find(u"cable 0 render"), std::u16string::npos);
    EXPECT_EQ(said.find(u"vorn_devnode: could not hide cable 1 render (error 0x000001B1)\n"), 0U);
    EXPECT_TRUE(
        said.ends_with(u"vorn_devnode: could not hide cable 9 capture (error 0x000001B1)\n"));
    process.console.clear();
  }
  // The one endpoint that was hidden cannot be shown again: its device is gone.
  EXPECT_TRUE(
      process.ErrorOutput().starts_with(u"vorn_devnode: driver quiesce could not open the device"));
  EXPECT_TRUE(HasClosedTheChannel());
}

TEST_F(UnusualReply, ThatNeverComesEndsResumeEndpoints) {
  LoseTheDeviceDuring(kAcquireLeaseCode);
  EXPECT_EQ(ResumeEndpoints(), kExitHotSwapFailed);
  EXPECT_EQ(process.ErrorOutput(),
            u"vorn_devnode: resume-endpoints: controller lease unavailable (error 0x000001B1)\n");
  EXPECT_TRUE(HasClosedTheChannel());
}

}  // namespace
}  // namespace vorn

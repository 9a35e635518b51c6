#include "control/control_request.h"

#include "control/control_channel.h"
#include "platform/last_error.h"
#include "tests/control/control_world.h"

#include <cstdint>

namespace vorn {
namespace {

using tests::FailingCall;
using tests::kRootId;

class ControlRequest : public tests::ControlWorld {
 protected:
  /// Sends the status query into a buffer of its size.
  ControlAnswer Send() {
    return SendControlRequest(channel.handle.Get(), kGetStatusCode, nullptr, 0, &reply,
                              sizeof reply);
  }

  void TearDown() override {
    channel.handle.Reset();
    ControlWorld::TearDown();
  }

  ControlChannel channel = OpenRootControlChannel(kRootId);
  StatusReply reply;
};

TEST_F(ControlRequest, GivesTheBytesThatCameBack) {
  Image().statusBytes = 100;
  const ControlAnswer answer = Send();
  EXPECT_TRUE(answer.succeeded);
  EXPECT_EQ(answer.bytes, 100U);
  EXPECT_EQ(reply.loadedVersion, 0x1A080AU);
}

TEST_F(ControlRequest, GivesTheErrorOfTheRequest) {
  Image().failures[kGetStatusCode] = 170;
  const ControlAnswer answer = Send();
  EXPECT_FALSE(answer.succeeded);
  EXPECT_EQ(answer.bytes, 0U);
  EXPECT_EQ(answer.error, 170U);
}

TEST_F(ControlRequest, CountsNoBytesOfARequestThatFailsAfterItsReply) {
  process.faults = {FailingCall("DeviceIoControl", 31)};
  process.faults[0].kind = platform::simulated::FaultKind::FailAfterEffect;
  const ControlAnswer answer = Send();
  EXPECT_FALSE(answer.succeeded);
  EXPECT_EQ(answer.bytes, 0U);
  EXPECT_EQ(answer.error, 31U);
}

TEST_F(ControlRequest, KeepsTheLastErrorOfASuccess) {
  platform::SetLastError(0x1234);
  const ControlAnswer answer = Send();
  EXPECT_TRUE(answer.succeeded);
  EXPECT_EQ(answer.error, 0x1234U);
}

}  // namespace
}  // namespace vorn

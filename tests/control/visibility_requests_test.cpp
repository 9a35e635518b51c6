#include "control/visibility_requests.h"

#include "control/control_channel.h"
#include "control/control_protocol.h"
#include "tests/control/control_world.h"

#include <string>
#include <vector>

namespace vorn {
namespace {

using tests::kRootId;

class VisibilityRequests : public tests::ControlWorld {
 protected:
  platform::HANDLE Channel() { return channel_.handle.Get(); }

  /// The only request that was sent, as "code input inputSize outputSize".
  std::string OnlyRequest() const {
    const auto calls = tests::CallsOf(process, "DeviceIoControl");
    if (calls.size() != 1) return std::to_string(calls.size()) + " requests";
    return calls[0].Argument("controlCode") + " " + calls[0].Argument("input") + " " +
           calls[0].Argument("inputSize") + " " + calls[0].Argument("outputSize");
  }

  void TearDown() override {
    channel_.handle.Reset();
    ControlWorld::TearDown();
  }

 private:
  ControlChannel channel_ = OpenRootControlChannel(kRootId);
};

TEST_F(VisibilityRequests, AskForTheLeaseWithAZeroAndRoomFor16Bytes) {
  const ControlAnswer answer = AcquireControllerLease(Channel());
  EXPECT_TRUE(answer.succeeded);
  EXPECT_EQ(answer.bytes, 16U);
  EXPECT_EQ(OnlyRequest(), "0x226000 00000000 4 16");
}

TEST_F(VisibilityRequests, GiveTheLeaseBackWithAZeroAndNoReply) {
  AcquireControllerLease(Channel());
  ASSERT_TRUE(Root().leaseHeld);
  process.calls.clear();
  ReleaseControllerLease(Channel());
  EXPECT_EQ(OnlyRequest(), "0x22A004 00000000 4 0");
  EXPECT_FALSE(Root().leaseHeld);
}

TEST_F(VisibilityRequests, NameTheCableThenTheFlowThenTheVisibility) {
  struct {
    EndpointIdentity endpoint;
    Visibility visibility;
    const char* request;
  } const rows[] = {
      {{0, false}, Visibility::Hidden, "0x22A01C 000000000000000000000000 12 0"},
      {{7, false}, Visibility::Hidden, "0x22A01C 070000000000000000000000 12 0"},
      {{7, true}, Visibility::Hidden, "0x22A01C 070000000100000000000000 12 0"},
      {{0, false}, Visibility::Shown, "0x22A01C 000000000000000001000000 12 0"},
      {{9, true}, Visibility::Shown, "0x22A01C 090000000100000001000000 12 0"},
  };
  AcquireControllerLease(Channel());
  for (const auto& row : rows) {
    process.calls.clear();
    EXPECT_TRUE(SetCableVisibility(Channel(), row.endpoint, row.visibility).succeeded);
    EXPECT_EQ(OnlyRequest(), row.request);
  }
}

TEST_F(VisibilityRequests, GiveTheErrorOfTheRequest) {
  Image().refusesToHide[{3, 1}] = 31;
  AcquireControllerLease(Channel());
  const ControlAnswer answer = SetCableVisibility(Channel(), {3, true}, Visibility::Hidden);
  EXPECT_FALSE(answer.succeeded);
  EXPECT_EQ(answer.error, 31U);
}

}  // namespace
}  // namespace vorn

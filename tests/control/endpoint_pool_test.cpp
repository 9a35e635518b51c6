#include "control/endpoint_pool.h"

#include "platform/last_error.h"
#include "tests/control/control_world.h"

#include <algorithm>
#include <string>
#include <vector>

namespace vorn {
namespace {

using tests::FailingCall;
using tests::kRootId;

std::vector<EndpointPoolEntry> SoundPool() {
  std::vector<EndpointPoolEntry> pool;
  for (const EndpointIdentity& endpoint : AllEndpointIdentities()) {
    pool.push_back({endpoint.cableIndex, endpoint.capture, u"Wave"});
  }
  return pool;
}

TEST(EndpointPoolValidation, AcceptsEachIdentityOnceInAnyOrder) {
  std::vector<EndpointPoolEntry> pool = SoundPool();
  EXPECT_TRUE(ValidateEndpointPool(pool).ok);
  EXPECT_EQ(ValidateEndpointPool(pool).reason, u"");
  std::reverse(pool.begin(), pool.end());
  EXPECT_TRUE(ValidateEndpointPool(pool).ok);
}

TEST(EndpointPoolValidation, RefusesAnyOtherSize) {
  std::vector<EndpointPoolEntry> pool = SoundPool();
  pool.pop_back();
  EXPECT_FALSE(ValidateEndpointPool(pool).ok);
  EXPECT_EQ(ValidateEndpointPool(pool).reason, u"driver reported the wrong endpoint-pool size");
  pool = SoundPool();
  pool.push_back(pool.front());
  EXPECT_EQ(ValidateEndpointPool(pool).reason, u"driver reported the wrong endpoint-pool size");
  EXPECT_EQ(ValidateEndpointPool({}).reason, u"driver reported the wrong endpoint-pool size");
}

TEST(EndpointPoolValidation, RefusesACableOutOfRange) {
  std::vector<EndpointPoolEntry> pool = SoundPool();
  for (const std::uint32_t cable : {10U, 0xFFFFFFFFU}) {
    pool[7].cableIndex = cable;
    const CheckResult result = ValidateEndpointPool(pool);
    EXPECT_FALSE(result.ok);
    EXPECT_EQ(result.reason, u"driver reported an out-of-range cable index");
  }
}

TEST(EndpointPoolValidation, RefusesAnEmptyName) {
  std::vector<EndpointPoolEntry> pool = SoundPool();
  pool[19].subdeviceName.clear();
  const CheckResult result = ValidateEndpointPool(pool);
  EXPECT_FALSE(result.ok);
  EXPECT_EQ(result.reason, u"driver reported an endpoint without a subdevice name");
}

TEST(EndpointPoolValidation, RefusesAnIdentityTwice) {
  std::vector<EndpointPoolEntry> pool = SoundPool();
  pool[19] = pool[3];
  const CheckResult result = ValidateEndpointPool(pool);
  EXPECT_FALSE(result.ok);
  EXPECT_EQ(result.reason, u"driver reported a duplicate cable/flow identity");
}

TEST(EndpointPoolValidation, NamesTheFirstFaultOfTheFirstFaultyEntry) {
  std::vector<EndpointPoolEntry> pool = SoundPool();
  pool[2] = {10, false, u""};
  pool[1] = {0, false, u""};
  EXPECT_EQ(ValidateEndpointPool(pool).reason,
            u"driver reported an endpoint without a subdevice name");
  pool[1] = SoundPool()[1];
  EXPECT_EQ(ValidateEndpointPool(pool).reason, u"driver reported an out-of-range cable index");
}

// ------------------------------------------------------------------------------------------------

TEST(EndpointPoolReply, NeedsTheCountAndAtMost20Entries) {
  EndpointPoolReply reply;
  std::vector<EndpointPoolEntry> entries;
  for (const std::uint32_t bytes : {0U, 3U}) {
    EXPECT_EQ(ReadEndpointPoolReply(reply, bytes, entries).reason,
              u"live endpoint-pool IOCTL returned a malformed payload");
  }
  for (const std::uint32_t count : {21U, 0xFFFFFFFFU}) {
    reply.count = count;
    EXPECT_EQ(ReadEndpointPoolReply(reply, sizeof reply, entries).reason,
              u"live endpoint-pool IOCTL returned a malformed payload");
  }
  reply.count = 0;
  entries = SoundPool();
  EXPECT_TRUE(ReadEndpointPoolReply(reply, 4, entries).ok);
  EXPECT_TRUE(entries.empty());
}

TEST(EndpointPoolReply, TreatsEveryFlowButZeroAsCapture) {
  EndpointPoolReply reply;
  reply.count = 4;
  const std::uint32_t flows[] = {0, 1, 7, 0x80000000};
  for (std::size_t i = 0; i < 4; ++i) {
    reply.entries[i].flow = flows[i];
    reply.entries[i].cableIndex = 3;
    reply.entries[i].subdeviceName[0] = u'W';
  }
  std::vector<EndpointPoolEntry> entries;
  ASSERT_TRUE(ReadEndpointPoolReply(reply, sizeof reply, entries).ok);
  const std::vector<EndpointPoolEntry> expected = {
      {3, false, u"W"}, {3, true, u"W"}, {3, true, u"W"}, {3, true, u"W"}};
  EXPECT_EQ(entries, expected);
}

TEST(EndpointPoolReply, AcceptsANameOf63CharactersButNotOneWithoutTerminator) {
  EndpointPoolReply reply;
  reply.count = 2;
  std::fill_n(reply.entries[1].subdeviceName, 63, u'n');
  std::vector<EndpointPoolEntry> entries;
  ASSERT_TRUE(ReadEndpointPoolReply(reply, sizeof reply, entries).ok);
  EXPECT_EQ(entries[1].subdeviceName, std::u16string(63, u'n'));
  reply.entries[1].subdeviceName[63] = u'n';
  EXPECT_EQ(ReadEndpointPoolReply(reply, sizeof reply, entries).reason,
            u"driver returned an unterminated subdevice name");
  reply.count = 1;
  EXPECT_TRUE(ReadEndpointPoolReply(reply, sizeof reply, entries).ok);
}

// ------------------------------------------------------------------------------------------------

class EndpointPoolQuery : public tests::ControlWorld {};

TEST_F(EndpointPoolQuery, AcceptsASoundDriver) {
  const CheckResult result = QueryEndpointPool(kRootId);
  EXPECT_TRUE(result.ok);
  EXPECT_EQ(result.reason, u"");
}

TEST_F(EndpointPoolQuery, SendsOneRequestAndClosesTheHandle) {
  QueryEndpointPool(kRootId);
  const auto calls = tests::CallsOf(process, "DeviceIoControl");
  ASSERT_EQ(calls.size(), 1U);
  EXPECT_EQ(calls[0].Argument("controlCode"), "0x226020");
  EXPECT_EQ(calls[0].Argument("inputSize"), "0");
  EXPECT_EQ(calls[0].Argument("outputSize"), "2804");
  EXPECT_EQ(CountOf("CreateFileW"), 1U);
  EXPECT_EQ(process.calls.back().name, "CloseHandle");
  EXPECT_TRUE(process.console.empty());
}

TEST_F(EndpointPoolQuery, PassesTheReasonOfTheChannelOn) {
  Root().interfaces.clear();
  const CheckResult result = QueryEndpointPool(kRootId);
  EXPECT_FALSE(result.ok);
  EXPECT_EQ(result.reason,
            u"no openable VORN interface on this root (control and KS both failed, last error "
            u"0x00000002)");
}

TEST_F(EndpointPoolQuery, ReportsTheErrorOfAFailedRequest) {
  process.faults = {FailingCall("DeviceIoControl", 0x1F)};
  const CheckResult result = QueryEndpointPool(kRootId);
  EXPECT_FALSE(result.ok);
  EXPECT_EQ(result.reason, u"live endpoint-pool IOCTL failed (error 0x0000001F)");
}

TEST_F(EndpointPoolQuery, DoesNotBelieveAReplyThatIsSaidToBeIncomplete) {
  process.faults = {tests::FailingAfterEffect("DeviceIoControl", 234)};
  EXPECT_EQ(QueryEndpointPool(kRootId).reason,
            u"live endpoint-pool IOCTL failed (error 0x000000EA)");
}

TEST_F(EndpointPoolQuery, DoesNotBelieveAReplyOfARequestThatFailed) {
  process.faults = {FailingCall("DeviceIoControl", 0x1F)};
  process.faults[0].kind = platform::simulated::FaultKind::FailAfterEffect;
  EXPECT_EQ(QueryEndpointPool(kRootId).reason,
            u"live endpoint-pool IOCTL failed (error 0x0000001F)");
}

TEST_F(EndpointPoolQuery, ReadsWhatTheDriverDidNotWriteAsZeros) {
  Image().poolBytes = 4;
  EXPECT_EQ(QueryEndpointPool(kRootId).reason,
            u"driver reported an endpoint without a subdevice name");
}

TEST_F(EndpointPoolQuery, TakesNothingOfTheReplyBefore) {
  EXPECT_TRUE(QueryEndpointPool(kRootId).ok);
  Image().poolBytes = 4;
  EXPECT_EQ(QueryEndpointPool(kRootId).reason,
            u"driver reported an endpoint without a subdevice name");
}

TEST_F(EndpointPoolQuery, RefusesAShortReply) {
  Image().poolBytes = 3;
  EXPECT_EQ(QueryEndpointPool(kRootId).reason,
            u"live endpoint-pool IOCTL returned a malformed payload");
}

TEST_F(EndpointPoolQuery, RefusesACountAbove20) {
  Image().poolCount = 21;
  EXPECT_EQ(QueryEndpointPool(kRootId).reason,
            u"live endpoint-pool IOCTL returned a malformed payload");
}

TEST_F(EndpointPoolQuery, Refuses19SoundEntries) {
  Image().poolCount = 19;
  EXPECT_EQ(QueryEndpointPool(kRootId).reason, u"driver reported the wrong endpoint-pool size");
}

TEST_F(EndpointPoolQuery, RefusesTwoCapturesOfACable) {
  Image().pool[3] = {3, 7, u"Wave"};
  EXPECT_EQ(QueryEndpointPool(kRootId).reason, u"driver reported a duplicate cable/flow identity");
}

TEST_F(EndpointPoolQuery, RefusesANameWithoutTerminator) {
  Image().pool[3].name = std::u16string(64, u'n');
  EXPECT_EQ(QueryEndpointPool(kRootId).reason, u"driver returned an unterminated subdevice name");
  Image().pool[3].name = std::u16string(63, u'n');
  EXPECT_TRUE(QueryEndpointPool(kRootId).ok);
}

}  // namespace
}  // namespace vorn

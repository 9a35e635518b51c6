#include "control/control_protocol.h"

#include <cstring>
#include <gtest/gtest.h>
#include <vector>

namespace vorn {
namespace {

using Bytes = std::vector<unsigned char>;

template <class Message>
Bytes BytesOf(const Message& message) {
  Bytes bytes(sizeof(Message));
  std::memcpy(bytes.data(), &message, sizeof(Message));
  return bytes;
}

TEST(ControlProtocol, NamesTheInterfaceOfTheDriver) {
  EXPECT_EQ(BytesOf(kControlInterfaceClass),
            (Bytes{0xC1, 0xB8, 0xF2, 0xA3, 0x4E, 0x7D, 0x5A, 0x4F, 0x9B, 0x2C, 0x1E, 0x8D, 0x6F,
                   0x3A, 0x4B, 0x5C}));
}

TEST(ControlProtocol, HasTheseControlCodes) {
  EXPECT_EQ(kAcquireLeaseCode, 0x226000U);
  EXPECT_EQ(kReleaseLeaseCode, 0x22A004U);
  EXPECT_EQ(kGetStatusCode, 0x226010U);
  EXPECT_EQ(kSetCableVisibilityCode, 0x22A01CU);
  EXPECT_EQ(kEndpointPoolCode, 0x226020U);
}

TEST(ControlProtocol, AsksForVisibilityWithCableFlowAndStateInThisOrder) {
  EXPECT_EQ(BytesOf(CableVisibilityRequest{0x01020304, 1, 0}),
            (Bytes{4, 3, 2, 1, 1, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(BytesOf(CableVisibilityRequest{9, 0, 1}), (Bytes{9, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0}));
}

TEST(ControlProtocol, AsksForALeaseWithFourZeroBytes) {
  EXPECT_EQ(BytesOf(LeaseRequest()), Bytes(4));
}

TEST(ControlProtocol, ReadsTheFieldsOfAStatusAtTheseOffsets) {
  Bytes reply(sizeof(StatusReply));
  reply[2] = 1;
  reply[104] = 2;
  reply[108] = 3;
  reply[112] = 4;
  reply[120] = 5;
  StatusReply status;
  std::memcpy(&status, reply.data(), reply.size());
  EXPECT_EQ(status.loadedVersion, 0x10000U);
  EXPECT_EQ(status.lifecycleAbi, 2U);
  EXPECT_EQ(status.sharedMemoryAbi, 3U);
  EXPECT_EQ(status.capabilities, 4U);
  EXPECT_EQ(status.loadedRevision, 5U);
}

TEST(ControlProtocol, ReadsTheEntriesOfAPoolOneBehindTheOther) {
  Bytes reply(sizeof(EndpointPoolReply));
  reply[0] = 20;
  const std::size_t last = 4 + 19 * 140;
  reply[last] = 9;
  reply[last + 4] = 1;
  reply[last + 12] = 'T';
  EndpointPoolReply pool;
  std::memcpy(&pool, reply.data(), reply.size());
  EXPECT_EQ(pool.count, 20U);
  EXPECT_EQ(pool.entries[19].cableIndex, 9U);
  EXPECT_EQ(pool.entries[19].flow, 1U);
  EXPECT_EQ(pool.entries[19].subdeviceName[0], u'T');
}

}  // namespace
}  // namespace vorn

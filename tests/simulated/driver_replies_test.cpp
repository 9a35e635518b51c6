#include "platform/simulated/driver_replies.h"

#include "tests/support/sample.h"

#include <gtest/gtest.h>

namespace vorn::platform::simulated {

using tests::kSampleVersion;
namespace {

std::uint32_t Word(const Bytes& reply, std::size_t offset) {
  return std::uint32_t{reply.at(offset)} | std::uint32_t{reply.at(offset + 1)} << 8 |
         std::uint32_t{reply.at(offset + 2)} << 16 | std::uint32_t{reply.at(offset + 3)} << 24;
}

/// The 64 units of the name field of an entry.
std::u16string Name(const Bytes& reply, std::size_t entry) {
  std::u16string name;
  for (std::size_t i = 0; i < 64; ++i) {
    const std::size_t at = 4 + 140 * entry + 12 + 2 * i;
    const auto unit = static_cast<char16_t>(reply.at(at) | reply.at(at + 1) << 8);
    if (unit == 0) break;
    name += unit;
  }
  return name;
}

TEST(DriverReplies, HoldTheCountAndTwentyEntriesInThePool) {
  const Bytes reply = PoolReply(SoundImage(kSampleVersion));
  ASSERT_EQ(reply.size(), 2804u);
  EXPECT_EQ(Word(reply, 0), 20u);
  for (std::uint32_t i = 0; i < 20; ++i) {
    EXPECT_EQ(Word(reply, 4 + 140 * i), i % 10) << i;
    EXPECT_EQ(Word(reply, 4 + 140 * i + 4), i / 10) << i;
  }
  EXPECT_EQ(Name(reply, 0), u"VORN Cable 1 Render");
  EXPECT_EQ(Name(reply, 19), u"VORN Cable 10 Capture");
}

TEST(DriverReplies, ReportACountIndependentOfTheEntries) {
  DriverImage image = SoundImage(kSampleVersion);
  image.poolCount = 21;
  image.pool.resize(1);
  const Bytes reply = PoolReply(image);
  EXPECT_EQ(Word(reply, 0), 21u);
  EXPECT_EQ(Word(reply, 4 + 140 + 4), 0u);
  EXPECT_EQ(Name(reply, 1), u"");
}

TEST(DriverReplies, CutThePoolWhereTheImageStops) {
  DriverImage image = SoundImage(kSampleVersion);
  image.poolBytes = 4;
  EXPECT_EQ(PoolReply(image), (Bytes{20, 0, 0, 0}));
  image.poolBytes = 2;
  EXPECT_EQ(PoolReply(image), (Bytes{20, 0}));
}

TEST(DriverReplies, TakeNoMoreMemoryThanAReplyNeedsToFitNowhere) {
  DriverImage image = SoundImage(kSampleVersion);
  image.poolBytes = image.statusBytes = image.leaseBytes = 0xFFFFFFFF;
  EXPECT_EQ(PoolReply(image).size(), 1u << 20);
  EXPECT_EQ(StatusReply(image).size(), 1u << 20);
  EXPECT_EQ(LeaseReply(image).size(), 1u << 20);
}

TEST(DriverReplies, LeaveANameOf64UnitsWithoutTerminator) {
  DriverImage image = SoundImage(kSampleVersion);
  image.pool[0].name = std::u16string(64, u'x');
  image.pool[1].name = std::u16string(63, u'y');
  image.pool[2].name = std::u16string(70, u'z');
  const Bytes reply = PoolReply(image);
  EXPECT_EQ(Name(reply, 0).size(), 64u);
  EXPECT_EQ(Name(reply, 1).size(), 63u);
  EXPECT_EQ(Name(reply, 2).size(), 64u);
  EXPECT_EQ(Word(reply, 4 + 140 * 3), 3u);
}

TEST(DriverReplies, HoldTheStatusWordsAtTheirOffsets) {
  DriverImage image = SoundImage(kSampleVersion);
  image.lifecycleAbi = 0x01020304;
  image.sharedMemoryAbi = 7;
  image.capabilities = 9;
  const Bytes reply = StatusReply(image);
  ASSERT_EQ(reply.size(), 128u);
  EXPECT_EQ(Word(reply, 0), 0x1A080Au);
  EXPECT_EQ(reply[104], 0x04);
  EXPECT_EQ(reply[107], 0x01);
  EXPECT_EQ(Word(reply, 108), 7u);
  EXPECT_EQ(Word(reply, 112), 9u);
  EXPECT_EQ(Word(reply, 120), 5u);
}

TEST(DriverReplies, FillTheReservedBytesOfTheStatus) {
  const Bytes reply = StatusReply(SoundImage(kSampleVersion));
  for (const std::size_t offset :
       {std::size_t{4}, std::size_t{100}, std::size_t{116}, std::size_t{124}})
    EXPECT_NE(Word(reply, offset), 0u) << offset;
}

TEST(DriverReplies, CutTheStatusOfALegacyImage) {
  DriverImage image = SoundImage(u"26.8.9.4");
  image.statusBytes = 100;
  const Bytes reply = StatusReply(image);
  EXPECT_EQ(reply.size(), 100u);
  EXPECT_EQ(Word(reply, 0), 0x1A0809u);
}

TEST(DriverReplies, AreSixteenBytesForTheLease) {
  DriverImage image = SoundImage(kSampleVersion);
  EXPECT_EQ(LeaseReply(image).size(), 16u);
  image.leaseBytes = 8;
  EXPECT_EQ(LeaseReply(image).size(), 8u);
}

}  // namespace
}  // namespace vorn::platform::simulated

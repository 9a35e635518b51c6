#include "platform/simulated/driver_replies.h"

#include <algorithm>
#include <cstring>

namespace vorn::platform::simulated {

namespace {

// Offsets of the fields in the replies.
constexpr std::size_t kPoolHeaderSize = 4;
constexpr std::size_t kPoolEntrySize = 140;
constexpr std::size_t kEntryFlow = 4;
constexpr std::size_t kEntryReserved = 8;
constexpr std::size_t kEntryName = 12;
constexpr std::size_t kEntryNameUnits = 64;
constexpr std::size_t kStatusLifecycleAbi = 104;
constexpr std::size_t kStatusSharedMemoryAbi = 108;
constexpr std::size_t kStatusCapabilities = 112;
constexpr std::size_t kStatusRevision = 120;

/// Ours: words that the protocol leaves undefined are not zero, so that no caller relies on that by
/// accident.
constexpr std::uint8_t kFiller = 0xA5;

/// Ours: longer than any buffer of the program, which takes nothing of a reply that does not fit.
constexpr std::uint32_t kLongestReply = 1 << 20;

Bytes ReplyOf(std::uint32_t bytes, std::uint8_t filler = 0) {
  return Bytes(std::min(bytes, kLongestReply), filler);
}

void PutByte(Bytes& reply, std::size_t offset, std::uint32_t byte) {
  if (offset < reply.size()) reply[offset] = static_cast<std::uint8_t>(byte);
}

void PutWord(Bytes& reply, std::size_t offset, std::uint32_t word) {
  for (std::size_t i = 0; i < 4; ++i)
    PutByte(reply, offset + i, word >> (8 * i) & 0xFF);
}

void PutName(Bytes& reply, std::size_t offset, const std::u16string& name) {
  if (offset >= reply.size()) return;
  const std::size_t bytes = std::min(name.size(), kEntryNameUnits) * sizeof(char16_t);
  std::memcpy(reply.data() + offset, name.data(), std::min(bytes, reply.size() - offset));
}

}  // namespace

Bytes PoolReply(const DriverImage& image) {
  Bytes reply = ReplyOf(image.poolBytes);
  PutWord(reply, 0, image.poolCount);
  std::size_t offset = kPoolHeaderSize;
  for (const PoolEntry& entry : image.pool) {
    PutWord(reply, offset, entry.cable);
    PutWord(reply, offset + kEntryFlow, entry.flow);
    for (std::size_t i = 0; i < 4; ++i)
      PutByte(reply, offset + kEntryReserved + i, kFiller);
    PutName(reply, offset + kEntryName, entry.name);
    offset += kPoolEntrySize;
  }
  return reply;
}

Bytes StatusReply(const DriverImage& image) {
  Bytes reply = ReplyOf(image.statusBytes, kFiller);
  PutWord(reply, 0, image.loadedVersion);
  PutWord(reply, kStatusLifecycleAbi, image.lifecycleAbi);
  PutWord(reply, kStatusSharedMemoryAbi, image.sharedMemoryAbi);
  PutWord(reply, kStatusCapabilities, image.capabilities);
  PutWord(reply, kStatusRevision, image.revision);
  return reply;
}

Bytes LeaseReply(const DriverImage& image) {
  return ReplyOf(image.leaseBytes, kFiller);
}

}  // namespace vorn::platform::simulated

#pragma once

// The driver's private control protocol: interface class, control codes and message layouts. All
// numbers are little-endian.

#include "platform/device_io.h"
#include "platform/types.h"
#include "product/endpoint_identity.h"

#include <bit>
#include <cstddef>
#include <cstdint>

namespace vorn {

static_assert(std::endian::native == std::endian::little);

/// Device interface class of the driver's own control interface.
inline constexpr platform::GUID kControlInterfaceClass = {
    0xA3F2B8C1, 0x7D4E, 0x4F5A, {0x9B, 0x2C, 0x1E, 0x8D, 0x6F, 0x3A, 0x4B, 0x5C}};

inline constexpr std::uint32_t kAcquireLeaseCode =
    platform::BufferedControlCode(0x800, platform::FILE_READ_ACCESS);
inline constexpr std::uint32_t kReleaseLeaseCode =
    platform::BufferedControlCode(0x801, platform::FILE_WRITE_ACCESS);
inline constexpr std::uint32_t kGetStatusCode =
    platform::BufferedControlCode(0x804, platform::FILE_READ_ACCESS);
inline constexpr std::uint32_t kSetCableVisibilityCode =
    platform::BufferedControlCode(0x807, platform::FILE_WRITE_ACCESS);
inline constexpr std::uint32_t kEndpointPoolCode =
    platform::BufferedControlCode(0x808, platform::FILE_READ_ACCESS);
static_assert(kAcquireLeaseCode == 0x226000 && kReleaseLeaseCode == 0x22A004);
static_assert(kGetStatusCode == 0x226010 && kEndpointPoolCode == 0x226020);
static_assert(kSetCableVisibilityCode == 0x22A01C);

/// Input to acquire and release the lease.
struct LeaseRequest {
  std::uint32_t reserved = 0;
};
static_assert(sizeof(LeaseRequest) == 4);

/// Reply to the lease; its content is opaque.
struct LeaseReply {
  std::uint8_t content[16] = {};
};
static_assert(sizeof(LeaseReply) == 16);

/// Input that hides or shows one endpoint.
struct CableVisibilityRequest {
  std::uint32_t cableIndex = 0;
  std::uint32_t flow = 0;     // 0 render, 1 capture
  std::uint32_t visible = 0;  // 0 hide, 1 show
};
static_assert(sizeof(CableVisibilityRequest) == 12);

/// Reply to the endpoint-pool query.
struct EndpointPoolReply {
  struct Entry {
    std::uint32_t cableIndex = 0;
    std::uint32_t flow = 0;  // 0 render, any other value capture
    std::uint32_t unexamined = 0;
    char16_t subdeviceName[64] = {};  // terminated
  };
  std::uint32_t count = 0;
  Entry entries[kEndpointCount] = {};
};
static_assert(sizeof(EndpointPoolReply::Entry) == 140);
static_assert(offsetof(EndpointPoolReply::Entry, subdeviceName) == 12);
static_assert(sizeof(EndpointPoolReply) == 2804);

/// Reply to GET_STATUS. Older drivers return less: 4 bytes hold the loaded version, 124 everything.
struct StatusReply {
  std::uint32_t loadedVersion = 0;  // major, minor and build in bits 16-23, 8-15 and 0-7
  std::uint8_t unexamined[100] = {};
  std::uint32_t lifecycleAbi = 0;
  std::uint32_t sharedMemoryAbi = 0;
  std::uint32_t capabilities = 0;
  std::uint32_t unexaminedToo = 0;
  std::uint32_t loadedRevision = 0;  // fourth part of the version
  std::uint32_t unexaminedAtEnd = 0;
};
static_assert(offsetof(StatusReply, lifecycleAbi) == 104);
static_assert(offsetof(StatusReply, sharedMemoryAbi) == 108);
static_assert(offsetof(StatusReply, capabilities) == 112);
static_assert(offsetof(StatusReply, loadedRevision) == 120);
static_assert(sizeof(StatusReply) == 128);

}  // namespace vorn

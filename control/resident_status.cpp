#include "control/resident_status.h"

#include "base/format.h"
#include "control/control_channel.h"
#include "control/control_request.h"

#include <cstddef>
#include <optional>

namespace vorn {

namespace {

constexpr std::size_t kImageMismatchCapacity = 224;
constexpr std::size_t kAbiMismatchCapacity = 256;

constexpr std::uint32_t kVersionBytes = sizeof(StatusReply::loadedVersion);
constexpr std::uint32_t kLifecycleBytes =
    offsetof(StatusReply, loadedRevision) + sizeof(StatusReply::loadedRevision);
static_assert(kVersionBytes == 4 && kLifecycleBytes == 124);

/// Images from 26.8.10 on report the lifecycle ABI.
constexpr std::uint32_t kFirstLifecycleVersion = 0x1A080A;
constexpr std::uint32_t kLifecycleAbi = 3;
constexpr std::uint32_t kSharedMemoryAbi = 3;
constexpr std::uint32_t kLifecycleCapability = 0x1;

std::uint32_t Major(std::uint32_t packed) {
  return (packed >> 16) & 0xFF;
}
std::uint32_t Minor(std::uint32_t packed) {
  return (packed >> 8) & 0xFF;
}
std::uint32_t Build(std::uint32_t packed) {
  return packed & 0xFF;
}

bool HandshakeHolds(const StatusReply& reply, const ExactDriverVersion& expected) {
  return reply.lifecycleAbi == kLifecycleAbi && reply.sharedMemoryAbi == kSharedMemoryAbi &&
         (reply.capabilities & kLifecycleCapability) != 0 &&
         reply.loadedRevision == expected.revision;
}

std::u16string ImageMismatch(std::uint32_t loaded, const std::u16string& expectedText) {
  return FormatBounded(
      kImageMismatchCapacity,
      u"RESIDENT IMAGE MISMATCH: driver reports %u.%u.%u (0x%08X) but the package being activated "
      u"is %ls. PnP metadata is not proof -- the devnode restart did not load the new image.",
      Major(loaded), Minor(loaded), Build(loaded), loaded, expectedText);
}

std::u16string AbiMismatch(const StatusReply& reply, const std::u16string& expectedText) {
  const std::uint32_t loaded = reply.loadedVersion;
  return FormatBounded(
      kAbiMismatchCapacity,
      u"RESIDENT IMAGE/ABI MISMATCH: loaded DriverVer is %u.%u.%u.%u but the activated package is "
      u"%ls; %ls",
      Major(loaded), Minor(loaded), Build(loaded), reply.loadedRevision, expectedText,
      u"resident driver ABI/capability handshake does not match the activated package");
}

}  // namespace

CheckResult JudgeResidentStatus(const StatusReply& reply, std::uint32_t bytes,
                                const ExactDriverVersion& expected,
                                const std::u16string& expectedText) {
  if (reply.loadedVersion != expected.packed) {
    return CheckResult::Failed(ImageMismatch(reply.loadedVersion, expectedText));
  }
  if (expected.packed < kFirstLifecycleVersion) return CheckResult::Passed();
  if (bytes < kLifecycleBytes) {
    return CheckResult::Failed(
        u"resident driver returned a legacy GET_STATUS payload for a package that requires the SHM "
        u"v3 lifecycle ABI and four-part loaded DriverVer identity");
  }
  if (!HandshakeHolds(reply, expected)) {
    return CheckResult::Failed(AbiMismatch(reply, expectedText));
  }
  return CheckResult::Passed();
}

CheckResult QueryResidentStatus(const std::u16string& rootId,
                                const std::u16string& expectedVersion) {
  const std::optional<ExactDriverVersion> expected = ParseExactDriverVersion(expectedVersion);
  if (!expected) {
    return CheckResult::Failed(u"expected driver version is not an exact four-part DriverVer");
  }
  ControlChannel channel = OpenRootControlChannel(rootId);
  if (!channel.handle) {
    return CheckResult::Failed(u"resident driver version unverifiable: " + channel.reason);
  }
  StatusReply reply;
  const ControlAnswer answer =
      SendControlRequest(channel.handle.Get(), kGetStatusCode, nullptr, 0, &reply, sizeof reply);
  channel.handle.Reset();
  if (!answer.succeeded || answer.bytes < kVersionBytes) {
    // A short reply is not a failed call, so there is no error.
    const std::uint32_t error = answer.succeeded ? platform::ERROR_SUCCESS : answer.error;
    return CheckResult::Failed(
        Format(u"driver did not answer GET_STATUS (error 0x%08lX); resident image cannot be proven",
               error));
  }
  return JudgeResidentStatus(reply, answer.bytes, *expected, expectedVersion);
}

}  // namespace vorn

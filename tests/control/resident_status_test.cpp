#include "control/resident_status.h"

#include "platform/last_error.h"
#include "platform/simulated/error_values.h"
#include "tests/control/control_world.h"

#include <string>
#include <vector>

namespace vorn {
namespace {

using tests::FailingCall;
using tests::kRootId;

constexpr char16_t kHandshakeMismatch[] =
    u"RESIDENT IMAGE/ABI MISMATCH: loaded DriverVer is 26.8.10.5 but the activated package is "
    u"26.8.10.5; resident driver ABI/capability handshake does not match the activated package";

StatusReply SoundReply() {
  StatusReply reply;
  reply.loadedVersion = 0x1A080A;
  reply.lifecycleAbi = 3;
  reply.sharedMemoryAbi = 3;
  reply.capabilities = 1;
  reply.loadedRevision = 5;
  return reply;
}

CheckResult Judge(const StatusReply& reply, std::uint32_t bytes, const std::u16string& expected) {
  return JudgeResidentStatus(reply, bytes, *ParseExactDriverVersion(expected), expected);
}

TEST(ResidentStatusJudgement, AcceptsTheExpectedImage) {
  for (const std::uint32_t bytes : {124U, 128U}) {
    const CheckResult result = Judge(SoundReply(), bytes, u"26.8.10.5");
    EXPECT_TRUE(result.ok);
    EXPECT_EQ(result.reason, u"");
  }
}

TEST(ResidentStatusJudgement, LooksAtBitZeroOfTheCapabilitiesAlone) {
  StatusReply reply = SoundReply();
  reply.capabilities = 0xFFFFFFFF;
  EXPECT_TRUE(Judge(reply, 128, u"26.8.10.5").ok);
  reply.capabilities = 0xFFFFFFFE;
  EXPECT_EQ(Judge(reply, 128, u"26.8.10.5").reason, kHandshakeMismatch);
}

TEST(ResidentStatusJudgement, NeedsEveryPartOfTheHandshake) {
  for (const std::uint32_t abi : {0U, 2U, 4U, 0x10003U, 0x80000003U}) {
    StatusReply lifecycle = SoundReply();
    lifecycle.lifecycleAbi = abi;
    EXPECT_EQ(Judge(lifecycle, 128, u"26.8.10.5").reason, kHandshakeMismatch) << abi;
    StatusReply sharedMemory = SoundReply();
    sharedMemory.sharedMemoryAbi = abi;
    EXPECT_EQ(Judge(sharedMemory, 128, u"26.8.10.5").reason, kHandshakeMismatch) << abi;
  }
  StatusReply reply = SoundReply();
  reply.capabilities = 0;
  EXPECT_EQ(Judge(reply, 128, u"26.8.10.5").reason, kHandshakeMismatch);
}

TEST(ResidentStatusJudgement, NeedsTheRevision) {
  const CheckResult result = Judge(SoundReply(), 128, u"26.8.10.6");
  EXPECT_FALSE(result.ok);
  EXPECT_EQ(result.reason,
            u"RESIDENT IMAGE/ABI MISMATCH: loaded DriverVer is 26.8.10.5 but the activated package "
            u"is 26.8.10.6; resident driver ABI/capability handshake does not match the activated "
            u"package");
}

TEST(ResidentStatusJudgement, ComparesEveryBitOfTheRevision) {
  for (std::uint32_t bit = 0; bit < 32; ++bit) {
    StatusReply reply = SoundReply();
    reply.loadedRevision ^= 1U << bit;
    EXPECT_FALSE(Judge(reply, 128, u"26.8.10.5").ok) << bit;
  }
}

TEST(ResidentStatusJudgement, RefusesAHigherRevision) {
  EXPECT_EQ(Judge(SoundReply(), 128, u"26.8.10.4").reason,
            u"RESIDENT IMAGE/ABI MISMATCH: loaded DriverVer is 26.8.10.5 but the activated package "
            u"is 26.8.10.4; resident driver ABI/capability handshake does not match the activated "
            u"package");
}

TEST(ResidentStatusJudgement, LooksAtNothingButItsFields) {
  StatusReply reply = SoundReply();
  for (std::uint8_t& byte : reply.unexamined)
    byte = 0xFF;
  reply.unexaminedToo = reply.unexaminedAtEnd = 0xFFFFFFFF;
  EXPECT_TRUE(Judge(reply, 128, u"26.8.10.5").ok);
}

TEST(ResidentStatusJudgement, RefusesAnotherImage) {
  StatusReply reply = SoundReply();
  reply.loadedVersion = 0x1A0809;
  const CheckResult result = Judge(reply, 128, u"26.8.10.5");
  EXPECT_FALSE(result.ok);
  EXPECT_EQ(result.reason,
            u"RESIDENT IMAGE MISMATCH: driver reports 26.8.9 (0x001A0809) but the package being "
            u"activated is 26.8.10.5. PnP metadata is not proof -- the devnode restart did not "
            u"load the new image.");
}

TEST(ResidentStatusJudgement, ComparesTheWholeVersionWord) {
  for (const std::uint32_t bit : {24U, 27U, 31U}) {
    StatusReply reply = SoundReply();
    reply.loadedVersion |= 1U << bit;
    EXPECT_FALSE(Judge(reply, 128, u"26.8.10.5").ok) << bit;
  }
  StatusReply reply = SoundReply();
  reply.loadedVersion = 0x011A080A;
  EXPECT_EQ(Judge(reply, 128, u"26.8.10.5").reason,
            u"RESIDENT IMAGE MISMATCH: driver reports 26.8.10 (0x011A080A) but the package being "
            u"activated is 26.8.10.5. PnP metadata is not proof -- the devnode restart did not "
            u"load the new image.");
}

TEST(ResidentStatusJudgement, AcceptsAnOlderImageOnItsThreeParts) {
  StatusReply reply;
  reply.loadedVersion = 0x1A0809;
  EXPECT_TRUE(Judge(reply, 4, u"26.8.9.5").ok);
  EXPECT_TRUE(Judge(reply, 100, u"26.8.9.5").ok);
  EXPECT_TRUE(Judge(reply, 128, u"26.8.9.4294967295").ok);
}

TEST(ResidentStatusJudgement, NeedsTheWholeReplyFrom26_8_10On) {
  for (const std::uint32_t bytes : {4U, 100U, 123U}) {
    const CheckResult result = Judge(SoundReply(), bytes, u"26.8.10.5");
    EXPECT_FALSE(result.ok);
    EXPECT_EQ(result.reason,
              u"resident driver returned a legacy GET_STATUS payload for a package that requires "
              u"the SHM v3 lifecycle ABI and four-part loaded DriverVer identity");
  }
}

TEST(ResidentStatusJudgement, ComparesTheImageBeforeTheLengthOfTheReply) {
  StatusReply reply = SoundReply();
  reply.loadedVersion = 0;
  EXPECT_EQ(Judge(reply, 4, u"26.8.10.5").reason.substr(0, 24), u"RESIDENT IMAGE MISMATCH:");
}

TEST(ResidentStatusJudgement, CutsAReasonAtItsBound) {
  const std::u16string expected = u"26.8.10." + std::u16string(300, u'0') + u"5";
  StatusReply reply = SoundReply();
  reply.loadedVersion = 0;
  EXPECT_EQ(Judge(reply, 128, expected).reason.size(), 223U);
  reply = SoundReply();
  reply.lifecycleAbi = 0;
  EXPECT_EQ(Judge(reply, 128, expected).reason.size(), 255U);
}

// ------------------------------------------------------------------------------------------------

class ResidentStatusQuery : public tests::ControlWorld {};

TEST_F(ResidentStatusQuery, AcceptsTheExpectedDriver) {
  const CheckResult result = QueryResidentStatus(kRootId, u"26.8.10.5");
  EXPECT_TRUE(result.ok);
  EXPECT_EQ(result.reason, u"");
}

TEST_F(ResidentStatusQuery, SendsOneRequestAndClosesTheHandle) {
  QueryResidentStatus(kRootId, u"26.8.10.5");
  const auto calls = tests::CallsOf(process, "DeviceIoControl");
  ASSERT_EQ(calls.size(), 1U);
  EXPECT_EQ(calls[0].Argument("controlCode"), "0x226010");
  EXPECT_EQ(calls[0].Argument("inputSize"), "0");
  EXPECT_EQ(calls[0].Argument("outputSize"), "128");
  EXPECT_EQ(process.calls.back().name, "CloseHandle");
  EXPECT_TRUE(process.console.empty());
}

TEST_F(ResidentStatusQuery, ParsesTheExpectedVersionBeforeItOpensTheDevice) {
  for (const char16_t* version :
       {u"1.2.3", u"1.2.3.4.5", u"1..3.4", u"256.0.0.1", u"1.2.3.4 ", u"1.2.3.4294967296", u""}) {
    const CheckResult result = QueryResidentStatus(kRootId, version);
    EXPECT_FALSE(result.ok);
    EXPECT_EQ(result.reason, u"expected driver version is not an exact four-part DriverVer");
  }
  EXPECT_TRUE(process.calls.empty());
}

TEST_F(ResidentStatusQuery, PrefixesTheReasonOfTheChannel) {
  Root().interfaces.push_back(ControlInterface(tests::kOtherControlPath));
  EXPECT_EQ(QueryResidentStatus(kRootId, u"26.8.10.5").reason,
            u"resident driver version unverifiable: current VORN root has duplicate live control "
            u"interfaces");
}

TEST_F(ResidentStatusQuery, ReportsTheErrorOfAFailedRequest) {
  process.faults = {FailingCall("DeviceIoControl", 0x1F)};
  EXPECT_EQ(QueryResidentStatus(kRootId, u"26.8.10.5").reason,
            u"driver did not answer GET_STATUS (error 0x0000001F); resident image cannot be "
            u"proven");
}

TEST_F(ResidentStatusQuery, DoesNotBelieveAReplyOfARequestThatFailed) {
  process.faults = {FailingCall("DeviceIoControl", 0x1F)};
  process.faults[0].kind = platform::simulated::FaultKind::FailAfterEffect;
  EXPECT_EQ(QueryResidentStatus(kRootId, u"26.8.10.5").reason,
            u"driver did not answer GET_STATUS (error 0x0000001F); resident image cannot be "
            u"proven");
}

TEST_F(ResidentStatusQuery, ReportsNoErrorForAShortReply) {
  for (const std::uint32_t bytes : {0U, 3U}) {
    Image().statusBytes = bytes;
    platform::SetLastError(platform::ERROR_GEN_FAILURE);
    EXPECT_EQ(QueryResidentStatus(kRootId, u"26.8.10.5").reason,
              u"driver did not answer GET_STATUS (error 0x00000000); resident image cannot be "
              u"proven");
  }
}

TEST_F(ResidentStatusQuery, RefusesALegacyReplyOfANewImage) {
  Image().statusBytes = 100;
  EXPECT_EQ(QueryResidentStatus(kRootId, u"26.8.10.5").reason,
            u"resident driver returned a legacy GET_STATUS payload for a package that requires the "
            u"SHM v3 lifecycle ABI and four-part loaded DriverVer identity");
}

TEST_F(ResidentStatusQuery, AcceptsALegacyReplyOfAnOlderImage) {
  Image() = platform::simulated::SoundImage(u"26.8.9.5");
  Image().statusBytes = 100;
  EXPECT_TRUE(QueryResidentStatus(kRootId, u"26.8.9.5").ok);
}

TEST_F(ResidentStatusQuery, NeedsNoMoreThanTheVersionOfAnOlderImage) {
  Image() = platform::simulated::SoundImage(u"26.8.9.5");
  Image().statusBytes = 4;
  EXPECT_TRUE(QueryResidentStatus(kRootId, u"26.8.9.5").ok);
}

TEST_F(ResidentStatusQuery, RefusesAnImageThatStayedInMemory) {
  Image() = platform::simulated::SoundImage(u"26.8.9.4");
  EXPECT_EQ(QueryResidentStatus(kRootId, u"26.8.10.5").reason.substr(0, 58),
            u"RESIDENT IMAGE MISMATCH: driver reports 26.8.9 (0x001A0809");
}

}  // namespace
}  // namespace vorn

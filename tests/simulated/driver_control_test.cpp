#include "platform/audio_endpoints.h"
#include "platform/config_manager.h"
#include "platform/files.h"
#include "platform/simulated/config_manager_values.h"
#include "platform/simulated/device_io.h"
#include "platform/simulated/driver_replies.h"
#include "platform/simulated/endpoint_builder.h"
#include "platform/simulated/error_values.h"
#include "tests/simulated/audio_machine.h"

#include <array>
#include <gtest/gtest.h>

namespace vorn::platform::simulated {
namespace {

constexpr std::uint32_t kReadWrite = GENERIC_READ | GENERIC_WRITE;
constexpr std::uint32_t kUntouched = 0xDEADBEEF;

HANDLE OpenPath(const char16_t* path, std::uint32_t access = kReadWrite) {
  return CreateFileW(path, access, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING,
                     FILE_ATTRIBUTE_NORMAL);
}

HANDLE OpenControl(std::uint32_t access = kReadWrite) {
  return OpenPath(kControlPath, access);
}

/// The outcome of one request.
struct Answer {
  bool ok = false;
  std::uint32_t error = 0;
  std::uint32_t returned = kUntouched;
  Bytes output;
};

Answer Send(HANDLE device, std::uint32_t code, const std::vector<std::uint32_t>& input,
            std::size_t outputSize) {
  Answer answer;
  answer.output.resize(outputSize);
  SetLastError(0);
  answer.ok = DeviceIoControl(device, code, input.empty() ? nullptr : input.data(),
                              static_cast<std::uint32_t>(input.size() * 4),
                              outputSize == 0 ? nullptr : answer.output.data(),
                              static_cast<std::uint32_t>(outputSize), &answer.returned);
  answer.error = GetLastError();
  return answer;
}

Answer Acquire(HANDLE device) {
  return Send(device, kAcquireLease, {0}, 16);
}

Answer SetVisible(HANDLE device, std::uint32_t cable, std::uint32_t flow, std::uint32_t visible) {
  return Send(device, kSetCableVisibility, {cable, flow, visible}, 0);
}

class DriverControl : public testing::Test {
 protected:
  Machine machine = PublishedMachine();
  Process process{machine};

  Device& Root() { return *machine.devices.Find(kRootId); }
  DriverImage& Image() { return *Root().resident; }
};

// ------------------------------------------------------------------------------------------------
// Opening.

TEST_F(DriverControl, OpensByAPathInAnyCase) {
  std::u16string path = kControlPath;
  for (char16_t& unit : path) {
    if (unit >= u'a' && unit <= u'z') unit = static_cast<char16_t>(unit - 0x20);
  }
  EXPECT_NE(OpenPath(path.c_str()), INVALID_HANDLE_VALUE);
  EXPECT_EQ(process.OpenObjects()[ObjectKind::Handle], 1u);
}

TEST_F(DriverControl, ClosesItsHandleOnce) {
  const HANDLE device = OpenControl();
  EXPECT_TRUE(CloseHandle(device));
  EXPECT_TRUE(process.OpenObjects().empty());
  EXPECT_FALSE(CloseHandle(device));
}

TEST_F(DriverControl, IsNotFoundWithoutAnEnabledInterfaceOfAPresentDevice) {
  Root().interfaces[0].enabled = false;
  EXPECT_EQ(OpenControl(), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
  Root().interfaces[0].enabled = true;
  Root().present = false;
  EXPECT_EQ(OpenControl(), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(OpenPath(u"\\\\?\\nothing"), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
}

TEST_F(DriverControl, FailsToOpenWithTheErrorOfTheInterface) {
  Root().interfaces[0].openError = ERROR_ACCESS_DENIED;
  EXPECT_EQ(OpenControl(), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
  EXPECT_NE(OpenPath(kAudioPath), INVALID_HANDLE_VALUE);
}

TEST_F(DriverControl, KeepsNoHandleOfAFailedOpen) {
  process.faults.push_back({"CreateFileW", 1, 1, FaultKind::FailAfterEffect, ERROR_BUSY, 0, {}});
  EXPECT_EQ(OpenControl(), INVALID_HANDLE_VALUE);
  EXPECT_EQ(GetLastError(), ERROR_BUSY);
  EXPECT_TRUE(process.OpenObjects().empty());
}

// ------------------------------------------------------------------------------------------------
// Requests in general.

TEST_F(DriverControl, AnswersTheQueriesFromTheImageInMemory) {
  const HANDLE device = OpenControl(GENERIC_READ);
  const Answer pool = Send(device, kQueryEndpointPool, {}, 2804);
  EXPECT_TRUE(pool.ok);
  EXPECT_EQ(pool.returned, 2804u);
  EXPECT_EQ(pool.output, PoolReply(Image()));
  const Answer status = Send(device, kGetStatus, {}, 128);
  EXPECT_TRUE(status.ok);
  EXPECT_EQ(status.returned, 128u);
  EXPECT_EQ(status.output, StatusReply(Image()));
}

TEST_F(DriverControl, AnswersOnTheKernelStreamingInterfaceToo) {
  const HANDLE device = OpenPath(kAudioPath);
  EXPECT_TRUE(Send(device, kQueryEndpointPool, {}, 2804).ok);
  EXPECT_TRUE(Acquire(device).ok);
}

TEST_F(DriverControl, ChecksTheAccessOfEachCodeAgainstTheHandle) {
  struct Row {
    std::uint32_t code;
    std::uint32_t handleAccess;
    bool denied;
  };
  const Row rows[] = {{kAcquireLease, GENERIC_READ, false},
                      {kAcquireLease, GENERIC_WRITE, true},
                      {kGetStatus, GENERIC_READ, false},
                      {kGetStatus, GENERIC_WRITE, true},
                      {kGetStatus, 0, true},
                      {kQueryEndpointPool, GENERIC_WRITE, true},
                      {kReleaseLease, GENERIC_READ, true},
                      {kSetCableVisibility, GENERIC_READ, true},
                      {kReleaseLease, kReadWrite, false}};
  for (const Row& row : rows) {
    const HANDLE device = OpenControl(row.handleAccess);
    const Answer answer = Send(device, row.code, {}, 0);
    EXPECT_FALSE(answer.ok);
    // The request passes the access check and is then refused by the driver.
    EXPECT_EQ(answer.error == ERROR_ACCESS_DENIED, row.denied)
        << std::hex << row.code << " with " << row.handleAccess;
    CloseHandle(device);
  }
}

TEST_F(DriverControl, RefusesWrongLengthsAndUnknownCodesWithoutEffect) {
  struct Row {
    std::uint32_t code;
    std::vector<std::uint32_t> input;
    std::size_t output;
    std::uint32_t error;
  };
  const Row rows[] = {{kAcquireLease, {}, 16, ERROR_INVALID_PARAMETER},
                      {kAcquireLease, {0, 0}, 16, ERROR_INVALID_PARAMETER},
                      {kAcquireLease, {0}, 15, ERROR_INSUFFICIENT_BUFFER},
                      {kAcquireLease, {0}, 0, ERROR_INSUFFICIENT_BUFFER},
                      {kReleaseLease, {}, 0, ERROR_INVALID_PARAMETER},
                      {kSetCableVisibility, {0, 0}, 0, ERROR_INVALID_PARAMETER},
                      {kSetCableVisibility, {0, 0, 0, 0}, 0, ERROR_INVALID_PARAMETER},
                      {kQueryEndpointPool, {}, 2803, ERROR_INSUFFICIENT_BUFFER},
                      {kQueryEndpointPool, {0}, 2804, ERROR_INVALID_PARAMETER},
                      {kGetStatus, {}, 127, ERROR_INSUFFICIENT_BUFFER},
                      {kGetStatus, {0}, 128, ERROR_INVALID_PARAMETER},
                      {0x226024, {}, 128, ERROR_INVALID_FUNCTION},
                      {0, {}, 0, ERROR_INVALID_FUNCTION}};
  const HANDLE device = OpenControl();
  for (const Row& row : rows) {
    const Answer answer = Send(device, row.code, row.input, row.output);
    EXPECT_FALSE(answer.ok) << std::hex << row.code;
    EXPECT_EQ(answer.error, row.error) << std::hex << row.code;
    EXPECT_EQ(answer.returned, kUntouched) << std::hex << row.code;
    EXPECT_EQ(answer.output, Bytes(row.output)) << std::hex << row.code;
  }
  EXPECT_FALSE(Root().leaseHeld);
}

TEST_F(DriverControl, NeedsAHandleToADevice) {
  EXPECT_EQ(Send(nullptr, kGetStatus, {}, 128).error, ERROR_INVALID_HANDLE);
  const HANDLE closed = OpenControl();
  CloseHandle(closed);
  EXPECT_EQ(Send(closed, kGetStatus, {}, 128).error, ERROR_INVALID_HANDLE);
  const auto file = process.Add(ObjectKind::Handle, std::make_shared<Object>());
  EXPECT_EQ(Send(reinterpret_cast<HANDLE>(file), kGetStatus, {}, 128).error,
            ERROR_INVALID_FUNCTION);
}

TEST_F(DriverControl, FailsEachCodeAsTheImageIsConfigured) {
  const HANDLE device = OpenControl();
  for (const std::uint32_t code :
       {kQueryEndpointPool, kGetStatus, kAcquireLease, kReleaseLease, kSetCableVisibility}) {
    Image().failures = {{code, 1167}};
    const Answer answer = Send(device, code, {0}, 2804);
    EXPECT_FALSE(answer.ok);
    EXPECT_EQ(answer.error, 1167u) << std::hex << code;
  }
}

TEST_F(DriverControl, RepliesShortLongOrGarbageAsTheImageIsConfigured) {
  const HANDLE device = OpenControl();
  Image().statusBytes = 3;
  EXPECT_EQ(Send(device, kGetStatus, {}, 128).returned, 3u);
  Image().statusBytes = 200;
  EXPECT_EQ(Send(device, kGetStatus, {}, 128).error, ERROR_INSUFFICIENT_BUFFER);
  Image().replies[kGetStatus] = {1, 2, 3, 4, 5};
  const Answer garbage = Send(device, kGetStatus, {}, 128);
  EXPECT_EQ(garbage.returned, 5u);
  EXPECT_EQ(garbage.output[4], 5);
  EXPECT_EQ(garbage.output[5], 0);
  Image().leaseBytes = 8;
  const Answer lease = Acquire(device);
  EXPECT_TRUE(lease.ok);
  EXPECT_EQ(lease.returned, 8u);
}

TEST_F(DriverControl, CutsAReplyAsPlanned) {
  process.faults.push_back({"DeviceIoControl", 1, 1, FaultKind::Short, 0, 6, {}});
  const Answer answer = Send(OpenControl(), kGetStatus, {}, 128);
  EXPECT_TRUE(answer.ok);
  EXPECT_EQ(answer.returned, 6u);
  EXPECT_EQ(answer.output[5], StatusReply(Image())[5]);
  EXPECT_EQ(answer.output[6], 0);
}

TEST_F(DriverControl, AnswersAfterADelay) {
  Image().delays[kGetStatus] = 5000;
  const std::uint64_t before = machine.clock.tick;
  EXPECT_TRUE(Send(OpenControl(), kGetStatus, {}, 128).ok);
  EXPECT_EQ(machine.clock.tick, before + 5000);
}

TEST_F(DriverControl, FailsWhenTheDeviceVanishesBeforeTheAnswer) {
  Image().delays[kGetStatus] = 5000;
  const HANDLE device = OpenControl();
  Plan(machine, 1000, EventKind::RemoveDevice, kRootId);
  const Answer answer = Send(device, kGetStatus, {}, 128);
  EXPECT_FALSE(answer.ok);
  EXPECT_EQ(answer.error, ERROR_NO_SUCH_DEVICE);
  EXPECT_EQ(answer.returned, kUntouched);
}

TEST_F(DriverControl, RefusesHandlesFromAnEarlierStart) {
  const HANDLE older = OpenControl();
  Restart(machine);
  EXPECT_EQ(Send(older, kGetStatus, {}, 128).error, ERROR_NO_SUCH_DEVICE);
  EXPECT_TRUE(Send(OpenControl(), kGetStatus, {}, 128).ok);
}

TEST_F(DriverControl, FailsRequestsToADeviceThatIsNotStarted) {
  const HANDLE device = OpenControl();
  Root().status = DN_HAS_PROBLEM;
  Root().problem = CM_PROB_DISABLED;
  EXPECT_EQ(Send(device, kGetStatus, {}, 128).error, ERROR_GEN_FAILURE);
}

TEST_F(DriverControl, KnowsNoRequestWithoutOurImageInMemory) {
  Root().resident.reset();
  EXPECT_EQ(Send(OpenControl(), kGetStatus, {}, 128).error, ERROR_INVALID_FUNCTION);
}

TEST_F(DriverControl, LogsEachRequestWithItsBytes) {
  const HANDLE device = OpenControl();
  Acquire(device);
  process.logCalls = true;
  SetVisible(device, 3, 1, 0);
  ASSERT_EQ(process.calls.size(), 1u);
  EXPECT_EQ(process.calls[0].name, "DeviceIoControl");
  EXPECT_EQ(process.calls[0].Argument("controlCode"), "0x22A01C");
  EXPECT_EQ(process.calls[0].Argument("input"), "030000000100000000000000");
  EXPECT_EQ(process.calls[0].Argument("outputSize"), "0");
  EXPECT_EQ(process.calls[0].result, "true");
}

// ------------------------------------------------------------------------------------------------
// The lease.

TEST_F(DriverControl, GrantsTheLeaseToOneHandleAtATime) {
  const HANDLE first = OpenControl();
  const HANDLE second = OpenControl();
  EXPECT_TRUE(Acquire(first).ok);
  EXPECT_TRUE(Acquire(first).ok);
  const Answer refused = Acquire(second);
  EXPECT_FALSE(refused.ok);
  EXPECT_EQ(refused.error, ERROR_BUSY);
  EXPECT_TRUE(Send(first, kReleaseLease, {0}, 0).ok);
  EXPECT_TRUE(Acquire(second).ok);
}

TEST_F(DriverControl, RefusesALeaseThatSomebodyElseHolds) {
  Root().leaseHeld = true;
  const HANDLE device = OpenControl();
  EXPECT_EQ(Acquire(device).error, ERROR_BUSY);
  CloseHandle(device);
  EXPECT_TRUE(Root().leaseHeld);
}

TEST_F(DriverControl, TakesTheLeaseBackWhenItsHandleCloses) {
  const HANDLE device = OpenControl();
  Acquire(device);
  EXPECT_TRUE(Root().leaseHeld);
  CloseHandle(device);
  EXPECT_FALSE(Root().leaseHeld);
}

TEST_F(DriverControl, TakesTheLeaseBackFromAKilledProcess) {
  Acquire(OpenControl());
  process.Kill();
  EXPECT_FALSE(Root().leaseHeld);
}

TEST_F(DriverControl, LeavesTheLeaseOfALaterStartAlone) {
  const HANDLE older = OpenControl();
  Acquire(older);
  Restart(machine);
  EXPECT_FALSE(Root().leaseHeld);
  Acquire(OpenControl());
  CloseHandle(older);
  EXPECT_TRUE(Root().leaseHeld);
}

TEST_F(DriverControl, LetsOnlyTheLeaseHolderReleaseItOrChangeVisibility) {
  const HANDLE device = OpenControl();
  EXPECT_EQ(Send(device, kReleaseLease, {0}, 0).error, ERROR_ACCESS_DENIED);
  EXPECT_EQ(SetVisible(device, 0, 0, 0).error, ERROR_ACCESS_DENIED);
  Acquire(device);
  EXPECT_TRUE(SetVisible(device, 0, 0, 0).ok);
  EXPECT_TRUE(Send(device, kReleaseLease, {0}, 0).ok);
  EXPECT_EQ(SetVisible(device, 0, 0, 1).error, ERROR_ACCESS_DENIED);
}

// ------------------------------------------------------------------------------------------------
// Visibility.

TEST_F(DriverControl, HidesAndShowsAnEndpointAtOnce) {
  const HANDLE device = OpenControl();
  Acquire(device);
  const std::u16string id = FindEndpoint(machine, kRootId, {4, 1})->id;
  const Answer hidden = SetVisible(device, 4, 1, 0);
  EXPECT_TRUE(hidden.ok);
  EXPECT_EQ(hidden.returned, 0u);
  EXPECT_EQ(Root().hidden, (std::set<CableFlow>{{4, 1}}));
  EXPECT_EQ(FindEndpoint(machine, kRootId, {4, 1}), nullptr);
  EXPECT_EQ(FindChildDevice(machine, id), nullptr);
  EXPECT_EQ(CountEndpoints(machine, DEVICE_STATE_ACTIVE), 19u);
  EXPECT_TRUE(SetVisible(device, 4, 1, 1).ok);
  EXPECT_EQ(FindEndpoint(machine, kRootId, {4, 1})->id, id);
  EXPECT_NE(FindChildDevice(machine, id), nullptr);
  EXPECT_TRUE(Root().hidden.empty());
}

TEST_F(DriverControl, KeepsEndpointsHiddenWhenTheLeaseEnds) {
  const HANDLE device = OpenControl();
  Acquire(device);
  SetVisible(device, 4, 1, 0);
  CloseHandle(device);
  EXPECT_EQ(CountEndpoints(machine, DEVICE_STATE_ACTIVE), 19u);
}

TEST_F(DriverControl, RefusesToHideOrShowConfiguredEndpoints) {
  Image().refusesToHide[{4, 0}] = 31;
  Image().refusesToShow[{4, 1}] = 21;
  const HANDLE device = OpenControl();
  Acquire(device);
  EXPECT_EQ(SetVisible(device, 4, 0, 0).error, 31u);
  EXPECT_TRUE(SetVisible(device, 4, 0, 1).ok);
  EXPECT_TRUE(SetVisible(device, 4, 1, 0).ok);
  EXPECT_EQ(SetVisible(device, 4, 1, 1).error, 21u);
  EXPECT_EQ(CountEndpoints(machine, DEVICE_STATE_ACTIVE), 19u);
}

TEST_F(DriverControl, RefusesCablesAndWordsOutOfRange) {
  Image().pool.pop_back();
  const HANDLE device = OpenControl();
  Acquire(device);
  EXPECT_EQ(SetVisible(device, 10, 0, 0).error, ERROR_INVALID_PARAMETER);
  EXPECT_EQ(SetVisible(device, 0, 2, 0).error, ERROR_INVALID_PARAMETER);
  EXPECT_EQ(SetVisible(device, 0, 0, 2).error, ERROR_INVALID_PARAMETER);
  EXPECT_EQ(SetVisible(device, 9, 1, 0).error, ERROR_INVALID_PARAMETER);
  EXPECT_EQ(CountEndpoints(machine, DEVICE_STATE_ACTIVE), 20u);
}

TEST_F(DriverControl, ChangesNothingWhenSuccessIsFeigned) {
  const HANDLE device = OpenControl();
  Acquire(device);
  process.faults.push_back({"DeviceIoControl", 2, 2, FaultKind::SucceedWithoutEffect, 0, 0, {}});
  EXPECT_TRUE(SetVisible(device, 4, 1, 0).ok);
  EXPECT_EQ(CountEndpoints(machine, DEVICE_STATE_ACTIVE), 20u);
}

TEST_F(DriverControl, ShowsEverythingAfterARestartOfTheDriver) {
  const HANDLE device = OpenControl();
  Acquire(device);
  SetVisible(device, 4, 1, 0);
  Restart(machine);
  Advance(machine, machine.audio.buildDelay);
  EXPECT_EQ(CountEndpoints(machine, DEVICE_STATE_ACTIVE), 20u);
}

}  // namespace
}  // namespace vorn::platform::simulated

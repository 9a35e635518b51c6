#include "devnode/device_reads.h"

#include "platform/last_error.h"
#include "platform/owners.h"
#include "tests/support/device_world.h"

#include <string>
#include <vector>

namespace vorn {
namespace {

using platform::simulated::Bytes;
using platform::simulated::Device;
using platform::simulated::DeviceProperty;
using tests::FailingCall;

constexpr char16_t kLongTail[] = u"PCI\\VEN_1234&DEV_5678";

Bytes BytesOf(std::u16string_view text) {
  Bytes bytes;
  for (const char16_t unit : text) {
    bytes.push_back(static_cast<std::uint8_t>(unit & 0xFF));
    bytes.push_back(static_cast<std::uint8_t>(unit >> 8));
  }
  return bytes;
}

class DeviceReads : public tests::DeviceWorld {
 protected:
  /// The result of `read(list, device)` for the only device.
  template <class Read>
  auto OfTheDevice(Read read) {
    const platform::DeviceInfoList list(
        platform::SetupDiGetClassDevsW(nullptr, u"ROOT", platform::DIGCF_ALLCLASSES));
    platform::SP_DEVINFO_DATA device = {};
    device.cbSize = sizeof device;
    EXPECT_TRUE(platform::SetupDiEnumDeviceInfo(list.Get(), 0, &device));
    return read(list.Get(), device);
  }
  bool Matches() {
    return OfTheDevice(
        [](auto list, const auto& device) { return MatchesRootHardwareId(list, device); });
  }
  std::optional<std::u16string> ReadId() {
    return OfTheDevice([](auto list, const auto& device) { return ReadInstanceId(list, device); });
  }
  std::u16string ReadVersion() {
    return OfTheDevice([](auto list, const auto& device) {
      return ReadStringProperty(list, device, platform::DEVPKEY_Device_DriverVersion);
    });
  }
  /// Sets the type and the bytes of the device's version property.
  void SetVersion(std::uint32_t type, Bytes data) {
    Device& root = machine.devices.devices.front();
    root.properties = {DeviceProperty{platform::DEVPKEY_Device_DriverVersion, type, data}};
  }
};

TEST_F(DeviceReads, MatchAHardwareIdAnywhereInTheListWhateverItsCase) {
  struct Row {
    std::vector<std::u16string> ids;
    bool matches;
  };
  const std::vector<Row> rows = {
      {{u"Root\\VornAudio"}, true},
      {{u"ROOT\\VORNAUDIO"}, true},
      {{u"root\\vornaudio"}, true},
      {{u"Root\\Other", u"Root\\VornAudio"}, true},
      {{u"Root\\Other", u"Root\\Another", u"rOOT\\vORNaUDIO"}, true},
      {{u"Root\\VornAudio2"}, false},
      {{u"Root\\VornAudi"}, false},
      {{u"XRoot\\VornAudio"}, false},
      {{u"Root\\Other"}, false},
  };
  Device& root = tests::AddStartedRoot(machine);
  for (const Row& row : rows) {
    root.hardwareIds = row.ids;
    EXPECT_EQ(Matches(), row.matches) << testing::PrintToString(row.ids);
  }
}

TEST_F(DeviceReads, StopAtTheFirstEmptyHardwareId) {
  using namespace std::string_view_literals;
  Device& root = tests::AddStartedRoot(machine);
  root.hardwareIdData = BytesOf(u"\0Root\\VornAudio\0\0"sv);
  EXPECT_FALSE(Matches());
  root.hardwareIdData = BytesOf(u"Root\\Other\0\0Root\\VornAudio\0\0"sv);
  EXPECT_FALSE(Matches());
  root.hardwareIdData = Bytes{};
  EXPECT_FALSE(Matches());
}

TEST_F(DeviceReads, AcceptAHardwareIdWithoutATerminator) {
  Device& root = tests::AddStartedRoot(machine);
  root.hardwareIdData = BytesOf(u"Root\\VornAudio");
  EXPECT_TRUE(Matches());
}

TEST_F(DeviceReads, DoNotMatchHardwareIdsThatExceed1024Bytes) {
  Device& root = tests::AddStartedRoot(machine);
  const std::u16string ours = u"Root\\VornAudio";
  // The list is its strings, each with its terminator, and one more terminator.
  const std::size_t units = 512 - (ours.size() + 1) - 1 - 1;
  root.hardwareIds = {std::u16string(units, u'x'), ours};
  EXPECT_TRUE(Matches());
  root.hardwareIds = {std::u16string(units + 1, u'x'), ours};
  EXPECT_FALSE(Matches());
}

TEST_F(DeviceReads, StayInsideAHardwareIdBufferThatIsFullToTheEnd) {
  Device& root = tests::AddStartedRoot(machine);
  root.hardwareIdData = BytesOf(std::u16string(512, u'x'));
  EXPECT_FALSE(Matches());
  const std::u16string ours = u"Root\\VornAudio";
  root.hardwareIdData = BytesOf(std::u16string(512 - ours.size() - 1, u'x') + u'\0' + ours);
  EXPECT_TRUE(Matches());
}

TEST_F(DeviceReads, DoNotMatchHardwareIdsThatCannotBeRead) {
  tests::AddStartedRoot(machine);
  process.faults = {FailingCall("SetupDiGetDeviceRegistryPropertyW", 13)};
  EXPECT_FALSE(Matches());
}

TEST_F(DeviceReads, AskForTheHardwareIdsOnceWith1024Bytes) {
  tests::AddStartedRoot(machine);
  ASSERT_TRUE(Matches());
  const auto calls = tests::CallsOf(process, "SetupDiGetDeviceRegistryPropertyW");
  ASSERT_EQ(calls.size(), 1U);
  EXPECT_EQ(calls[0].Argument("Property"), "1");
  EXPECT_EQ(calls[0].Argument("PropertyBufferSize"), "1024");
}

TEST_F(DeviceReads, ReturnTheInstanceIdAfterASizeQueryAndARead) {
  tests::AddStartedRoot(machine);
  EXPECT_EQ(ReadId(), tests::kRootId);
  const auto calls = tests::CallsOf(process, "SetupDiGetDeviceInstanceIdW");
  ASSERT_EQ(calls.size(), 2U);
  EXPECT_EQ(calls[0].Argument("DeviceInstanceIdSize"), "0");
  EXPECT_EQ(calls[1].Argument("DeviceInstanceIdSize"), "16");
}

TEST_F(DeviceReads, ReturnNoInstanceIdWhenEitherCallFails) {
  tests::AddStartedRoot(machine);
  for (const std::uint32_t nth : {1U, 2U}) {
    process.callCounts.clear();
    process.faults = {FailingCall("SetupDiGetDeviceInstanceIdW", 5, nth)};
    EXPECT_EQ(ReadId(), std::nullopt) << nth;
  }
}

TEST_F(DeviceReads, ReturnNothingWhenASizeQueryFailsForAnotherReason) {
  tests::AddStartedRoot(machine);
  SetVersion(platform::DEVPROP_TYPE_STRING, BytesOf(u"26.8.10.5"));
  EXPECT_EQ(ReadVersion(), u"26.8.10.5");
  for (const std::uint32_t error :
       {platform::ERROR_ACCESS_DENIED, platform::ERROR_FILE_NOT_FOUND}) {
    process.callCounts.clear();
    process.faults = {tests::FailingAfterEffect("SetupDiGetDeviceInstanceIdW", error),
                      tests::FailingAfterEffect("SetupDiGetDevicePropertyW", error)};
    EXPECT_EQ(ReadId(), std::nullopt) << error;
    EXPECT_EQ(ReadVersion(), u"") << error;
  }
}

TEST_F(DeviceReads, IgnoreTheOutputOfACallThatFailed) {
  tests::AddStartedRoot(machine);
  SetVersion(platform::DEVPROP_TYPE_STRING, BytesOf(u"26.8.10.5"));
  process.faults = {tests::FailingAfterEffect("SetupDiGetDeviceRegistryPropertyW", 13),
                    tests::FailingAfterEffect("SetupDiGetDeviceInstanceIdW", 13, 2),
                    tests::FailingAfterEffect("SetupDiGetDevicePropertyW", 13, 2)};
  EXPECT_FALSE(Matches());
  EXPECT_EQ(ReadId(), std::nullopt);
  EXPECT_EQ(ReadVersion(), u"");
}

TEST_F(DeviceReads, ReturnNoInstanceIdWhenTheSizeQueryClaimsSuccess) {
  tests::AddStartedRoot(machine);
  process.faults = {tests::LyingCall("SetupDiGetDeviceInstanceIdW")};
  EXPECT_EQ(ReadId(), std::nullopt);
}

TEST_F(DeviceReads, TreatAnEmptyInstanceIdAsNone) {
  tests::AddStartedRoot(machine);
  process.faults = {tests::LyingCall("SetupDiGetDeviceInstanceIdW", 2)};
  EXPECT_EQ(ReadId(), std::nullopt);
}

TEST_F(DeviceReads, ReturnAStringProperty) {
  Device& root = tests::AddStartedRoot(machine);
  SetStringProperty(root, platform::DEVPKEY_Device_DriverVersion, u"26.8.10.5");
  EXPECT_EQ(ReadVersion(), u"26.8.10.5");
}

TEST_F(DeviceReads, ReturnAStringPropertyAfterASizeQueryAndAReadOfThatSize) {
  Device& root = tests::AddStartedRoot(machine);
  SetStringProperty(root, platform::DEVPKEY_Device_DriverVersion, u"26.8.10.5");
  ReadVersion();
  const auto calls = tests::CallsOf(process, "SetupDiGetDevicePropertyW");
  ASSERT_EQ(calls.size(), 2U);
  EXPECT_EQ(calls[0].Argument("PropertyBufferSize"), "0");
  EXPECT_EQ(calls[1].Argument("PropertyBufferSize"), "20");
}

TEST_F(DeviceReads, ReturnNothingForAMissingProperty) {
  tests::AddStartedRoot(machine);
  EXPECT_EQ(ReadVersion(), u"");
}

TEST_F(DeviceReads, ReturnNothingForAPropertyOfAnotherType) {
  tests::AddStartedRoot(machine);
  SetVersion(0x07, BytesOf(u"26.8.10.5"));
  EXPECT_EQ(ReadVersion(), u"");
  SetVersion(0x2012, BytesOf(u"26.8.10.5"));  // a list of strings
  EXPECT_EQ(ReadVersion(), u"");
}

TEST_F(DeviceReads, ReturnNothingForAStringPropertyOfLessThanTwoBytes) {
  tests::AddStartedRoot(machine);
  SetVersion(platform::DEVPROP_TYPE_STRING, {});
  EXPECT_EQ(ReadVersion(), u"");
  SetVersion(platform::DEVPROP_TYPE_STRING, {'2'});
  EXPECT_EQ(ReadVersion(), u"");
}

TEST_F(DeviceReads, AcceptAStringPropertyWithoutATerminatorOrWithAnOddByte) {
  tests::AddStartedRoot(machine);
  SetVersion(platform::DEVPROP_TYPE_STRING, BytesOf(u"26.8"));
  EXPECT_EQ(ReadVersion(), u"26.8");
  SetVersion(platform::DEVPROP_TYPE_STRING, BytesOf(u"2"));
  EXPECT_EQ(ReadVersion(), u"2");
  Bytes odd = BytesOf(u"26.8");
  odd.push_back(0);
  SetVersion(platform::DEVPROP_TYPE_STRING, odd);
  EXPECT_EQ(ReadVersion(), u"26.8");
}

TEST_F(DeviceReads, ReturnNothingWhenEitherCallForAPropertyFails) {
  Device& root = tests::AddStartedRoot(machine);
  SetStringProperty(root, platform::DEVPKEY_Device_DriverVersion, u"26.8.10.5");
  for (const std::uint32_t nth : {1U, 2U}) {
    process.callCounts.clear();
    process.faults = {FailingCall("SetupDiGetDevicePropertyW", 5, nth)};
    EXPECT_EQ(ReadVersion(), u"") << nth;
  }
}

TEST_F(DeviceReads, ReturnNothingWhenThePropertyChangesItsTypeBetweenTheCalls) {
  Device& root = tests::AddStartedRoot(machine);
  SetStringProperty(root, platform::DEVPKEY_Device_DriverVersion, u"26.8.10.5");
  process.faults = {tests::ChangeBefore(
      "SetupDiGetDevicePropertyW", 2, [](platform::simulated::Machine& changed) {
        changed.devices.devices.front().properties.front().type = 0x07;
      })};
  EXPECT_EQ(ReadVersion(), u"");
}

TEST_F(DeviceReads, ReturnNothingWhenThePropertyGrowsBetweenTheCalls) {
  Device& root = tests::AddStartedRoot(machine);
  SetStringProperty(root, platform::DEVPKEY_Device_DriverVersion, u"26.8.10.5");
  process.faults = {tests::ChangeBefore(
      "SetupDiGetDevicePropertyW", 2, [](platform::simulated::Machine& changed) {
        SetStringProperty(changed.devices.devices.front(), platform::DEVPKEY_Device_DriverVersion,
                          kLongTail);
      })};
  EXPECT_EQ(ReadVersion(), u"");
}

TEST_F(DeviceReads, ReturnNoInstanceIdWhenTheSizeQueryFailsWithoutASize) {
  tests::AddStartedRoot(machine);
  process.faults = {
      FailingCall("SetupDiGetDeviceInstanceIdW", platform::ERROR_INSUFFICIENT_BUFFER)};
  EXPECT_EQ(ReadId(), std::nullopt);
  EXPECT_EQ(CountOf("SetupDiGetDeviceInstanceIdW"), 1U);
}

TEST_F(DeviceReads, ReturnNothingWhenTheSizeQueryForAPropertyClaimsSuccess) {
  Device& root = tests::AddStartedRoot(machine);
  SetStringProperty(root, platform::DEVPKEY_Device_DriverVersion, u"26.8.10.5");
  process.faults = {tests::LyingCall("SetupDiGetDevicePropertyW")};
  EXPECT_EQ(ReadVersion(), u"");
  EXPECT_EQ(CountOf("SetupDiGetDevicePropertyW"), 1U);
}

}  // namespace
}  // namespace vorn

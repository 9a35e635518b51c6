#include "control/control_channel.h"

#include "platform/files.h"
#include "platform/last_error.h"
#include "tests/control/control_world.h"

#include <string>
#include <vector>

namespace vorn {
namespace {

using platform::simulated::Device;
using platform::simulated::Fault;
using platform::simulated::FaultKind;
using tests::FailingCall;
using tests::kAudioPath;
using tests::kControlPath;
using tests::kOtherAudioPath;
using tests::kOtherControlPath;
using tests::kOtherRootId;
using tests::kRootId;

using Paths = std::vector<std::u16string>;

class ControlInterfaces : public tests::ControlWorld {
 protected:
  static Paths List(std::u16string_view rootId = kRootId) {
    return ListRootInterfacePaths(kControlInterfaceClass, rootId);
  }
};

TEST_F(ControlInterfaces, AreThoseOfTheRootInTheirOrder) {
  Root().interfaces = {AudioInterface(kAudioPath), ControlInterface(kControlPath),
                       ControlInterface(kOtherControlPath)};
  EXPECT_EQ(List(), (Paths{kControlPath, kOtherControlPath}));
  EXPECT_EQ(ListRootInterfacePaths(platform::KSCATEGORY_AUDIO, kRootId), Paths{kAudioPath});
}

TEST_F(ControlInterfaces, AreListedByClassWithoutEnumerator) {
  List();
  const auto calls = tests::CallsOf(process, "SetupDiGetClassDevsW");
  ASSERT_EQ(calls.size(), 1U);
  EXPECT_EQ(calls[0].Argument("ClassGuid"), "{A3F2B8C1-7D4E-4F5A-9B2C-1E8D6F3A4B5C}");
  EXPECT_EQ(calls[0].Argument("Enumerator"), "null");
  EXPECT_EQ(calls[0].Argument("Flags"), "0x12");
}

TEST_F(ControlInterfaces, AreReadWithExactlyTheRequiredSize) {
  List();
  const auto details = tests::CallsOf(process, "SetupDiGetDeviceInterfaceDetailW");
  ASSERT_EQ(details.size(), 2U);
  EXPECT_EQ(details[0].Argument("DeviceInterfaceDetailDataSize"), "0");
  const std::size_t required = 4 + 2 * (std::u16string_view(kControlPath).size() + 1);
  EXPECT_EQ(details[1].Argument("DeviceInterfaceDetailDataSize"), std::to_string(required));
}

TEST_F(ControlInterfaces, OfAnotherRootAreIgnored) {
  Device& other = tests::AddStartedRoot(machine, kOtherRootId);
  other.interfaces = {ControlInterface(kOtherControlPath)};
  EXPECT_EQ(List(), Paths{kControlPath});
  Root().interfaces.clear();
  EXPECT_EQ(List(), Paths{});
}

TEST_F(ControlInterfaces, OfARootWhoseIdOnlyBeginsOrEndsAlikeAreIgnored) {
  Root().interfaces.clear();
  for (const char16_t* const id :
       {u"ROOT\\MEDIA\\00001", u"ROOT\\MEDIA\\000", u"OTHER\\ROOT\\MEDIA\\0000"}) {
    Device& other = tests::AddStartedRoot(machine, id);
    other.interfaces = {ControlInterface(kOtherControlPath)};
    EXPECT_EQ(List(), Paths{}) << testing::PrintToString(id);
    EXPECT_EQ(List(id), Paths{kOtherControlPath}) << testing::PrintToString(id);
    other.interfaces.clear();
  }
}

TEST_F(ControlInterfaces, OfAForeignDeviceAreIgnored) {
  Root().hardwareIds = {u"Root\\Other"};
  EXPECT_EQ(List(), Paths{});
  EXPECT_EQ(CountOf("SetupDiGetDeviceInstanceIdW"), 0U) << "its hardware ids say enough";
}

TEST_F(ControlInterfaces, AreFoundWhateverTheCaseOfTheIds) {
  Root().hardwareIds = {u"ROOT\\VORNAUDIO"};
  EXPECT_EQ(List(u"root\\Media\\0000"), Paths{kControlPath});
}

TEST_F(ControlInterfaces, AreFoundByALaterHardwareId) {
  Root().hardwareIds = {u"Root\\Other", u"Root\\VornAudio"};
  EXPECT_EQ(List(), Paths{kControlPath});
}

TEST_F(ControlInterfaces, AreIgnoredWithMoreThan1024BytesOfHardwareIds) {
  Root().hardwareIds = {u"Root\\VornAudio", std::u16string(600, u'x')};
  EXPECT_EQ(List(), Paths{});
}

TEST_F(ControlInterfaces, ThatAreDisabledAreIgnored) {
  Root().interfaces[0].enabled = false;
  EXPECT_EQ(List(), Paths{});
}

TEST_F(ControlInterfaces, OfARootThatIsNotPresentAreIgnored) {
  Root().present = false;
  EXPECT_EQ(List(), Paths{});
}

TEST_F(ControlInterfaces, AreSkippedOneByOneWhenACallFails) {
  struct Row {
    const char* call;
    std::uint32_t nth;
  };
  Root().interfaces = {ControlInterface(kControlPath), ControlInterface(kOtherControlPath)};
  for (const Row& row :
       {Row{"SetupDiGetDeviceInterfaceDetailW", 1}, Row{"SetupDiGetDeviceInterfaceDetailW", 2},
        Row{"SetupDiGetDeviceRegistryPropertyW", 1}, Row{"SetupDiGetDeviceInstanceIdW", 1},
        Row{"SetupDiGetDeviceInstanceIdW", 2}}) {
    process.callCounts.clear();
    process.faults = {FailingCall(row.call, 5, row.nth)};
    EXPECT_EQ(List(), Paths{kOtherControlPath}) << row.call << " " << row.nth;
  }
}

TEST_F(ControlInterfaces, AreNotBelievedWhenTheCallThatDescribesThemFails) {
  Root().interfaces = {ControlInterface(kControlPath), ControlInterface(kOtherControlPath)};
  for (const auto& [call, nth] : {std::pair{"SetupDiGetDeviceInterfaceDetailW", 2U},
                                  std::pair{"SetupDiGetDeviceRegistryPropertyW", 1U},
                                  std::pair{"SetupDiGetDeviceInstanceIdW", 2U}}) {
    process.callCounts.clear();
    process.faults = {FailingCall(call, 5, nth)};
    process.faults[0].kind = FaultKind::FailAfterEffect;
    EXPECT_EQ(List(), Paths{kOtherControlPath}) << call << " " << nth;
  }
}

TEST_F(ControlInterfaces, EndAtAnEnumerationThatFailsAfterItsAnswer) {
  process.faults = {FailingCall("SetupDiEnumDeviceInterfaces", 5)};
  process.faults[0].kind = FaultKind::FailAfterEffect;
  EXPECT_EQ(List(), Paths{});
  EXPECT_EQ(CountOf("SetupDiEnumDeviceInterfaces"), 1U);
}

TEST_F(ControlInterfaces, AreReadFromARecordOf8BytesOrMore) {
  struct {
    std::uint64_t bytes;
    Paths paths;
    std::uint32_t calls;
  } const rows[] = {{7, {}, 1}, {8, {u"\\\\"}, 2}, {10, {u"\\\\?"}, 2}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.bytes);
    process.callCounts.clear();
    Fault cut;
    cut.call = "SetupDiGetDeviceInterfaceDetailW";
    cut.last = 2;
    cut.kind = FaultKind::Short;
    cut.amount = row.bytes;
    process.faults = {cut};
    EXPECT_EQ(List(), row.paths);
    EXPECT_EQ(process.callCounts.find("SetupDiGetDeviceInterfaceDetailW")->second, row.calls);
  }
}

TEST_F(ControlInterfaces, MayHavePathsOfOneCharacter) {
  Root().interfaces = {ControlInterface(u"x")};
  EXPECT_EQ(List(), Paths{u"x"});
}

TEST_F(ControlInterfaces, AreSkippedWhenTheSizeQueryFailsForAnotherReason) {
  for (const std::uint32_t error :
       {platform::ERROR_ACCESS_DENIED, platform::ERROR_FILE_NOT_FOUND}) {
    process.callCounts.clear();
    process.calls.clear();
    process.faults = {tests::FailingAfterEffect("SetupDiGetDeviceInterfaceDetailW", error)};
    EXPECT_EQ(List(), Paths{}) << error;
    EXPECT_EQ(CountOf("SetupDiGetDeviceInterfaceDetailW"), 1U) << error;
  }
}

TEST_F(ControlInterfaces, AreSkippedWhenTheSizeQueryIsNotAnswered) {
  for (const FaultKind kind : {FaultKind::SucceedWithoutEffect, FaultKind::Fail}) {
    process.callCounts.clear();
    Fault fault =
        FailingCall("SetupDiGetDeviceInterfaceDetailW", platform::ERROR_INSUFFICIENT_BUFFER);
    fault.kind = kind;
    process.faults = {fault};
    // The query that fails has the right error, but leaves the required size at 0.
    EXPECT_EQ(List(), Paths{}) << static_cast<int>(kind);
    EXPECT_EQ(CountOf("SetupDiGetDeviceRegistryPropertyW"), 0U);
  }
}

TEST_F(ControlInterfaces, EndAtTheFirstFailureOfTheEnumeration) {
  Root().interfaces = {ControlInterface(kControlPath), ControlInterface(kOtherControlPath)};
  process.faults = {FailingCall("SetupDiEnumDeviceInterfaces", 5, 2)};
  EXPECT_EQ(List(), Paths{kControlPath});
}

TEST_F(ControlInterfaces, AreNoneWithoutAList) {
  process.faults = {FailingCall("SetupDiGetClassDevsW", 5)};
  EXPECT_EQ(List(), Paths{});
  EXPECT_EQ(CountOf("SetupDiEnumDeviceInterfaces"), 0U);
}

// ------------------------------------------------------------------------------------------------

class RootControlChannel : public tests::ControlWorld {
 protected:
  /// Paths that were opened, in order.
  std::vector<std::string> Opened() const {
    std::vector<std::string> paths;
    for (const auto& call : tests::CallsOf(process, "CreateFileW"))
      paths.push_back(call.Argument("path"));
    return paths;
  }

  /// Why the root's channel does not open; empty when it does.
  static std::u16string ReasonOfFailure() {
    const ControlChannel channel = OpenRootControlChannel(kRootId);
    EXPECT_EQ(channel.handle.operator bool(), channel.reason.empty());
    return channel.reason;
  }
  static bool Opens() { return ReasonOfFailure().empty(); }
};

TEST_F(RootControlChannel, OpensTheControlInterface) {
  Root().interfaces.push_back(AudioInterface(kAudioPath));
  {
    const ControlChannel channel = OpenRootControlChannel(kRootId);
    EXPECT_TRUE(channel.handle);
    EXPECT_EQ(channel.reason, u"");
  }
  const auto opens = tests::CallsOf(process, "CreateFileW");
  ASSERT_EQ(opens.size(), 1U);
  EXPECT_EQ(opens[0].Argument("path"), "\\\\?\\root#media#0000#{a3f2b8c1}\\control");
  EXPECT_EQ(opens[0].Argument("desiredAccess"), "0xC0000000");
  EXPECT_EQ(opens[0].Argument("shareMode"), "0x3");
  EXPECT_EQ(opens[0].Argument("creationDisposition"), "3");
  EXPECT_EQ(opens[0].Argument("flagsAndAttributes"), "0x80");
  EXPECT_EQ(CountOf("SetupDiGetClassDevsW"), 1U);
}

TEST_F(RootControlChannel, IsRefusedWithTwoControlInterfacesAlthoughBothWouldOpen) {
  Root().interfaces = {ControlInterface(kControlPath), ControlInterface(kOtherControlPath),
                       AudioInterface(kAudioPath)};
  EXPECT_EQ(ReasonOfFailure(), u"current VORN root has duplicate live control interfaces");
  EXPECT_EQ(CountOf("CreateFileW"), 0U);
  EXPECT_EQ(CountOf("SetupDiGetClassDevsW"), 1U);
}

TEST_F(RootControlChannel, IsRefusedWithOneControlInterfaceListedTwice) {
  Root().interfaces = {ControlInterface(kControlPath), ControlInterface(kControlPath)};
  EXPECT_EQ(OpenRootControlChannel(kRootId).reason,
            u"current VORN root has duplicate live control interfaces");
  EXPECT_EQ(CountOf("CreateFileW"), 0U);
}

TEST_F(RootControlChannel, GoesThroughTheFirstAudioInterfaceThatOpens) {
  Root().interfaces = {AudioInterface(kAudioPath), AudioInterface(kOtherAudioPath),
                       AudioInterface(u"\\\\?\\third")};
  Root().interfaces[0].openError = 5;
  EXPECT_TRUE(Opens());
  const std::vector<std::string> expected = {"\\\\?\\root#media#0000#{6994ad04}\\wave",
                                             "\\\\?\\root#media#0000#{6994ad04}\\topology"};
  EXPECT_EQ(Opened(), expected);
  for (const auto& open : tests::CallsOf(process, "CreateFileW")) {
    EXPECT_EQ(open.Argument("desiredAccess"), "0xC0000000");
    EXPECT_EQ(open.Argument("shareMode"), "0x3");
    EXPECT_EQ(open.Argument("creationDisposition"), "3");
    EXPECT_EQ(open.Argument("flagsAndAttributes"), "0x80");
  }
}

TEST_F(RootControlChannel, FallsBackWhenTheControlInterfaceDoesNotOpen) {
  Root().interfaces[0].openError = 5;
  Root().interfaces.push_back(AudioInterface(kAudioPath));
  EXPECT_TRUE(Opens());
  EXPECT_EQ(Opened().size(), 2U);
}

TEST_F(RootControlChannel, TriesTheControlInterfaceOnce) {
  for (const std::uint32_t error : {2U, 5U, 21U, 31U, 32U, 170U, 1450U}) {
    Root().interfaces[0].openError = error;
    process.calls.clear();
    EXPECT_FALSE(Opens()) << error;
    EXPECT_EQ(CountOf("CreateFileW"), 1U) << error;
  }
}

TEST_F(RootControlChannel, FailsWithTheErrorOfTheControlInterface) {
  Root().interfaces[0].openError = 5;
  EXPECT_EQ(ReasonOfFailure(),
            u"no openable VORN interface on this root (control and KS both failed, last error "
            u"0x00000005)");
}

TEST_F(RootControlChannel, FailsWithTheErrorOfTheLastFallback) {
  Root().interfaces = {ControlInterface(kControlPath), AudioInterface(kAudioPath),
                       AudioInterface(kOtherAudioPath)};
  Root().interfaces[0].openError = 5;
  Root().interfaces[1].openError = 32;
  Root().interfaces[2].openError = 0xE000020B;
  EXPECT_EQ(ReasonOfFailure(),
            u"no openable VORN interface on this root (control and KS both failed, last error "
            u"0xE000020B)");
  EXPECT_EQ(Opened().size(), 3U);
}

TEST_F(RootControlChannel, FailsWithFileNotFoundWithoutAnyInterface) {
  Root().interfaces.clear();
  EXPECT_EQ(ReasonOfFailure(),
            u"no openable VORN interface on this root (control and KS both failed, last error "
            u"0x00000002)");
}

TEST_F(RootControlChannel, NeverUsesTheInterfaceOfAnotherRoot) {
  Root().interfaces.clear();
  Device& other = tests::AddStartedRoot(machine, kOtherRootId);
  other.interfaces = {ControlInterface(kOtherControlPath), AudioInterface(kOtherAudioPath)};
  EXPECT_FALSE(Opens());
  EXPECT_EQ(CountOf("CreateFileW"), 0U);
}

}  // namespace
}  // namespace vorn

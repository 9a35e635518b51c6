#include "devnode/class_installer.h"

#include "platform/last_error.h"
#include "platform/owners.h"
#include "tests/support/device_world.h"

#include <optional>
#include <string>
#include <vector>

namespace vorn {
namespace {

using tests::FailingCall;
using tests::kRootId;

/// A list of one device.
class ClassInstaller : public tests::DeviceWorld {
 protected:
  ClassInstaller() {
    tests::AddStartedRoot(machine);
    Open();
  }

  void TearDown() override {
    list.Reset();
    tests::DeviceWorld::TearDown();
  }

  /// Lists the device again, as it is now.
  void Open() {
    list = platform::DeviceInfoList(
        platform::SetupDiGetClassDevsW(nullptr, u"ROOT", platform::DIGCF_ALLCLASSES));
    device.cbSize = sizeof device;
    EXPECT_TRUE(platform::SetupDiEnumDeviceInfo(list.Get(), 0, &device));
  }

  /// The device, size and fields of the parameters that were set last.
  std::vector<std::string> Parameters() const {
    const auto calls = tests::CallsOf(process, "SetupDiSetClassInstallParamsW");
    std::vector<std::string> words;
    for (const char* name : {"DeviceInfoData", "ClassInstallParamsSize", "cbSize",
                             "InstallFunction", "Parameter1", "Parameter2", "Parameter3"}) {
      words.push_back(calls.empty() ? "" : calls.back().Argument(name));
    }
    return words;
  }

  platform::DeviceInfoList list;
  platform::SP_DEVINFO_DATA device = {};
};

TEST_F(ClassInstaller, IsAskedToRemoveADeviceFromEveryHardwareProfile) {
  EXPECT_TRUE(SetRemoveParameters(list.Get(), device));
  EXPECT_EQ(Parameters(),
            (std::vector<std::string>{"ROOT\\MEDIA\\0000", "16", "8", "0x5", "1", "0", "0"}));
}

TEST_F(ClassInstaller, IsAskedToRestartADeviceInTheCurrentHardwareProfile) {
  EXPECT_TRUE(SetRestartParameters(list.Get(), device));
  EXPECT_EQ(Parameters(),
            (std::vector<std::string>{"ROOT\\MEDIA\\0000", "20", "8", "0x12", "3", "2", "0"}));
}

TEST_F(ClassInstaller, IsNotCalledByPreparingItsParameters) {
  SetRemoveParameters(list.Get(), device);
  EXPECT_EQ(CountOf("SetupDiCallClassInstaller"), 0U);
  EXPECT_NE(machine.devices.Find(kRootId), nullptr);
}

TEST_F(ClassInstaller, LeavesTheErrorOfParametersThatCannotBeSet) {
  for (const auto set : {SetRemoveParameters, SetRestartParameters}) {
    process.callCounts.clear();
    process.faults = {FailingCall("SetupDiSetClassInstallParamsW", 0xE000020B)};
    EXPECT_FALSE(set(list.Get(), device));
    EXPECT_EQ(platform::GetLastError(), 0xE000020BU);
  }
}

TEST_F(ClassInstaller, NeedsARestartForEitherFlagAndNoOther) {
  struct Row {
    std::uint32_t flags;
    bool needed;
  };
  for (const Row& row : {Row{0, false}, Row{0x80, true}, Row{0x100, true}, Row{0x180, true},
                         Row{0xFFFFFE7F, false}, Row{0xFFFFFFFF, true}}) {
    machine.devices.Find(kRootId)->installFlags = row.flags;
    Open();
    EXPECT_EQ(ReadRestartNeeded(list.Get(), device), row.needed) << row.flags;
  }
  EXPECT_EQ(tests::CallsOf(process, "SetupDiGetDeviceInstallParamsW")[0].Argument("cbSize"), "584");
}

TEST_F(ClassInstaller, GivesNoAnswerWhenTheFlagsCannotBeRead) {
  process.faults = {FailingCall("SetupDiGetDeviceInstallParamsW", 87)};
  EXPECT_EQ(ReadRestartNeeded(list.Get(), device), std::nullopt);
  EXPECT_EQ(platform::GetLastError(), 87U);
}

}  // namespace
}  // namespace vorn

// Device interfaces in a list: which are listed, which device owns them, how their paths are read.

#include "platform/simulated/error_values.h"
#include "tests/simulated/device_calls.h"
#include "tests/support/sample.h"

namespace vorn::tests {

using namespace platform;
using namespace platform::simulated;

namespace {

constexpr char16_t kControlPath[] =
    u"\\\\?\\root#media#0000#{a3f2b8c1-7d4e-4f5a-9b2c-1e8d6f3a4b5c}";

HDEVINFO ListInterfaces(const GUID& interfaceClass, bool presentOnly = true) {
  return SetupDiGetClassDevsW(&interfaceClass, nullptr,
                              DIGCF_DEVICEINTERFACE | (presentOnly ? DIGCF_PRESENT : 0u));
}

SP_DEVICE_INTERFACE_DATA EmptyInterface() {
  SP_DEVICE_INTERFACE_DATA data = {};
  data.cbSize = sizeof data;
  return data;
}

/// Room for a detail record with a long path.
union DetailBuffer {
  SP_DEVICE_INTERFACE_DETAIL_DATA_W record;
  std::uint8_t bytes[1024];

  DetailBuffer() : bytes{} { record.cbSize = 8; }
};

std::u16string PathIn(const DetailBuffer& buffer) {
  std::u16string path;
  for (std::size_t i = offsetof(SP_DEVICE_INTERFACE_DETAIL_DATA_W, DevicePath);; i += 2) {
    const auto unit = static_cast<char16_t>(buffer.bytes[i] | buffer.bytes[i + 1] << 8);
    if (unit == u'\0') return path;
    path.push_back(unit);
  }
}

std::vector<std::u16string> PathsOf(HDEVINFO list, const GUID& interfaceClass) {
  std::vector<std::u16string> paths;
  SP_DEVICE_INTERFACE_DATA data = EmptyInterface();
  for (std::uint32_t i = 0; SetupDiEnumDeviceInterfaces(list, &interfaceClass, i, &data); ++i) {
    DetailBuffer buffer;
    EXPECT_TRUE(SetupDiGetDeviceInterfaceDetailW(list, &data, &buffer.record, sizeof buffer,
                                                 nullptr, nullptr));
    paths.push_back(PathIn(buffer));
  }
  EXPECT_EQ(GetLastError(), ERROR_NO_MORE_ITEMS);
  return paths;
}

}  // namespace

TEST(DeviceInterface, OfAStartedDriverIsListedUnderItsLowerCasePath) {
  World world(InstalledMachine());
  EXPECT_EQ(PathsOf(ListInterfaces(kControlInterfaceClass), kControlInterfaceClass),
            std::vector<std::u16string>{kControlPath});
}

TEST(DeviceInterface, OfAnotherClassIsNotInTheList) {
  World world(InstalledMachine());
  EXPECT_TRUE(PathsOf(ListInterfaces(kControlInterfaceClass), kAudioInterfaceClass).empty());
  EXPECT_EQ(PathsOf(ListInterfaces(kAudioInterfaceClass), kAudioInterfaceClass).size(), 2u);
}

TEST(DeviceInterface, OfADisabledDeviceIsListedOnlyWithoutTheFlagForPresence) {
  World world(DisabledMachine());
  EXPECT_TRUE(PathsOf(ListInterfaces(kControlInterfaceClass), kControlInterfaceClass).empty());
  const HDEVINFO all = ListInterfaces(kControlInterfaceClass, false);
  EXPECT_EQ(PathsOf(all, kControlInterfaceClass).size(), 1u);
  SP_DEVICE_INTERFACE_DATA data = EmptyInterface();
  ASSERT_TRUE(SetupDiEnumDeviceInterfaces(all, &kControlInterfaceClass, 0, &data));
  EXPECT_EQ(data.Flags & 1u, 0u) << "not active";
}

TEST(DeviceInterface, OfAnAbsentDeviceIsNotPresent) {
  World world(InstalledMachine());
  world.Device(kRootId).present = false;
  EXPECT_TRUE(PathsOf(ListInterfaces(kControlInterfaceClass), kControlInterfaceClass).empty());
}

TEST(DeviceInterface, IsFoundByItsDevicesIdAsEnumerator) {
  World world(InstalledMachine());
  const HDEVINFO list =
      SetupDiGetClassDevsW(&kAudioInterfaceClass, kRootId, DIGCF_DEVICEINTERFACE | DIGCF_PRESENT);
  EXPECT_EQ(PathsOf(list, kAudioInterfaceClass).size(), 1u);
}

TEST(DeviceInterface, MayAppearTwiceOnOneDevice) {
  World world(InstalledMachine());
  world.Device(kRootId).interfaces.push_back(
      {kControlInterfaceClass, u"\\\\?\\root#media#0000#second", true, 0});
  EXPECT_EQ(PathsOf(ListInterfaces(kControlInterfaceClass), kControlInterfaceClass).size(), 2u);
}

TEST(DeviceInterface, IsNeverInAListOfDevices) {
  World world(InstalledMachine());
  SP_DEVICE_INTERFACE_DATA data = EmptyInterface();
  EXPECT_FALSE(SetupDiEnumDeviceInterfaces(ListRoots(true), &kControlInterfaceClass, 0, &data));
  EXPECT_EQ(GetLastError(), ERROR_NO_MORE_ITEMS);
}

TEST(DeviceInterface, RecordMustHaveItsSize) {
  World world(InstalledMachine());
  SP_DEVICE_INTERFACE_DATA data = {};
  const HDEVINFO list = ListInterfaces(kControlInterfaceClass);
  EXPECT_FALSE(SetupDiEnumDeviceInterfaces(list, &kControlInterfaceClass, 0, &data));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST(DeviceInterfaceDetail, ReportsItsSizeInBytes) {
  World world(InstalledMachine());
  const HDEVINFO list = ListInterfaces(kControlInterfaceClass);
  SP_DEVICE_INTERFACE_DATA data = EmptyInterface();
  ASSERT_TRUE(SetupDiEnumDeviceInterfaces(list, &kControlInterfaceClass, 0, &data));
  std::uint32_t required = 0;
  EXPECT_FALSE(SetupDiGetDeviceInterfaceDetailW(list, &data, nullptr, 0, &required, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  EXPECT_EQ(required, 4 + 2 * (std::u16string_view(kControlPath).size() + 1));
  DetailBuffer buffer;
  EXPECT_FALSE(SetupDiGetDeviceInterfaceDetailW(list, &data, &buffer.record, required - 1, nullptr,
                                                nullptr));
  EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  EXPECT_TRUE(
      SetupDiGetDeviceInterfaceDetailW(list, &data, &buffer.record, required, nullptr, nullptr));
  EXPECT_EQ(PathIn(buffer), kControlPath);
}

TEST(DeviceInterfaceDetail, RefusesWrongSizes) {
  World world(InstalledMachine());
  const HDEVINFO list = ListInterfaces(kControlInterfaceClass);
  SP_DEVICE_INTERFACE_DATA data = EmptyInterface();
  ASSERT_TRUE(SetupDiEnumDeviceInterfaces(list, &kControlInterfaceClass, 0, &data));
  DetailBuffer buffer;
  buffer.record.cbSize = 6;
  EXPECT_FALSE(SetupDiGetDeviceInterfaceDetailW(list, &data, &buffer.record, sizeof buffer, nullptr,
                                                nullptr));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_USER_BUFFER);
  EXPECT_FALSE(SetupDiGetDeviceInterfaceDetailW(list, &data, nullptr, 100, nullptr, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_USER_BUFFER);
  buffer.record.cbSize = 8;
  SP_DEVINFO_DATA device = {};
  EXPECT_FALSE(SetupDiGetDeviceInterfaceDetailW(list, &data, &buffer.record, sizeof buffer, nullptr,
                                                &device));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_USER_BUFFER);
}

TEST(DeviceInterfaceDetail, NamesTheOwningDevice) {
  World world(InstalledMachine());
  const HDEVINFO list = ListInterfaces(kControlInterfaceClass);
  SP_DEVICE_INTERFACE_DATA data = EmptyInterface();
  ASSERT_TRUE(SetupDiEnumDeviceInterfaces(list, &kControlInterfaceClass, 0, &data));
  DetailBuffer buffer;
  SP_DEVINFO_DATA device = EmptyDevice();
  ASSERT_TRUE(SetupDiGetDeviceInterfaceDetailW(list, &data, &buffer.record, sizeof buffer, nullptr,
                                               &device));
  EXPECT_EQ(InstanceIdOf(list, device), kRootId);
}

TEST(DeviceInterfaceDetail, OfARemovedDeviceCannotBeRead) {
  World world(InstalledMachine());
  const HDEVINFO list = ListInterfaces(kControlInterfaceClass);
  SP_DEVICE_INTERFACE_DATA data = EmptyInterface();
  ASSERT_TRUE(SetupDiEnumDeviceInterfaces(list, &kControlInterfaceClass, 0, &data));
  RemoveDeviceNode(world.machine, kRootId);
  DetailBuffer buffer;
  EXPECT_FALSE(SetupDiGetDeviceInterfaceDetailW(list, &data, &buffer.record, sizeof buffer, nullptr,
                                                nullptr));
  EXPECT_EQ(GetLastError(), ERROR_NO_SUCH_DEVICE_INTERFACE);
}

TEST(DeviceInterfaceDetail, CanBeShorterThanARecord) {
  World world(InstalledMachine());
  Fault fault;
  fault.call = "SetupDiGetDeviceInterfaceDetailW";
  fault.kind = FaultKind::Short;
  fault.amount = 6;
  world.process.faults = {fault};
  const HDEVINFO list = ListInterfaces(kControlInterfaceClass);
  SP_DEVICE_INTERFACE_DATA data = EmptyInterface();
  ASSERT_TRUE(SetupDiEnumDeviceInterfaces(list, &kControlInterfaceClass, 0, &data));
  std::uint32_t required = 0;
  EXPECT_FALSE(SetupDiGetDeviceInterfaceDetailW(list, &data, nullptr, 0, &required, nullptr));
  EXPECT_EQ(required, 6u);
}

TEST(DeviceInterface, IsNotRegisteredByAnImageWithoutIt) {
  World world(CleanMachine());
  PackageRecipe recipe;
  recipe.image = SoundImage(recipe.version);
  recipe.image->registersControlInterface = false;
  const std::u16string inf = WritePackage(world.machine.files, u"C:\\pkg\\mute", recipe);
  AddRoot(world.machine, kRootId);
  ASSERT_TRUE(Update(inf.c_str()));
  world.Wait(5000);
  EXPECT_TRUE(PathsOf(ListInterfaces(kControlInterfaceClass), kControlInterfaceClass).empty());
  EXPECT_EQ(PathsOf(ListInterfaces(kAudioInterfaceClass), kAudioInterfaceClass).size(), 2u);
}

}  // namespace vorn::tests

// Device information lists: their content, their lifetime, and what they report about a device.

#include "platform/simulated/error_values.h"
#include "tests/simulated/device_calls.h"
#include "tests/support/sample.h"

namespace vorn::tests {

using namespace platform;
using namespace platform::simulated;

namespace {

constexpr char16_t kNeighbour[] = u"ROOT\\SYSTEM\\0000";

Machine WithGhost() {
  return DuplicatesMachine();  // 0000 runs, 0001 is absent, 0002 has no driver
}

Bytes ReadHardwareIds(HDEVINFO list, const SP_DEVINFO_DATA& device) {
  std::uint32_t required = 0;
  std::uint32_t type = 0;
  SetupDiGetDeviceRegistryPropertyW(list, &device, SPDRP_HARDWAREID, &type, nullptr, 0, &required);
  Bytes data(required);
  EXPECT_TRUE(SetupDiGetDeviceRegistryPropertyW(list, &device, SPDRP_HARDWAREID, &type, data.data(),
                                                required, nullptr));
  EXPECT_EQ(type, 7u);
  return data;
}

std::u16string AsText(const Bytes& data) {
  std::u16string text(data.size() / 2, u'\0');
  std::memcpy(text.data(), data.data(), text.size() * 2);
  return text;
}

}  // namespace

TEST(DeviceList, HoldsAbsentDevicesOnlyWithoutTheFlagForPresence) {
  World world(WithGhost());
  const std::vector<std::u16string> all = {kRootId, u"ROOT\\MEDIA\\0001", u"ROOT\\MEDIA\\0002",
                                           kNeighbour};
  const std::vector<std::u16string> present = {kRootId, u"ROOT\\MEDIA\\0002", kNeighbour};
  EXPECT_EQ(IdsOf(ListRoots(false)), all);
  EXPECT_EQ(IdsOf(ListRoots(true)), present);
}

TEST(DeviceList, NamesItsEnumeratorInAnyCase) {
  World world(InstalledMachine());
  const HDEVINFO list = SetupDiGetClassDevsW(nullptr, u"root", DIGCF_ALLCLASSES);
  EXPECT_EQ(IdsOf(list).size(), 2u);
}

TEST(DeviceList, WithoutEnumeratorHoldsEveryBus) {
  World world(CleanMachine());
  const HDEVINFO list = SetupDiGetClassDevsW(nullptr, nullptr, DIGCF_ALLCLASSES | DIGCF_PRESENT);
  EXPECT_EQ(IdsOf(list).size(), world.machine.devices.devices.size());
}

TEST(DeviceList, OfASetupClassHoldsThatClassAlone) {
  World world(InstalledMachine());
  const HDEVINFO list = SetupDiGetClassDevsW(&kMediaClass, u"ROOT", DIGCF_PRESENT);
  EXPECT_EQ(IdsOf(list), std::vector<std::u16string>{kRootId});
}

TEST(DeviceList, NeedsAClassUnlessAllAreRequested) {
  World world(CleanMachine());
  EXPECT_EQ(SetupDiGetClassDevsW(nullptr, u"ROOT", DIGCF_PRESENT), INVALID_DEVICE_INFO_LIST);
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST(DeviceList, IsASnapshotOfTheDevices) {
  World world(InstalledMachine());
  const HDEVINFO list = ListRoots(true);
  AddRoot(world.machine, u"ROOT\\MEDIA\\0007");
  RemoveDeviceNode(world.machine, kRootId);
  const std::vector<std::u16string> then = {kRootId, kNeighbour};
  EXPECT_EQ(IdsOf(list), then);
}

TEST(DeviceList, IsOpenUntilItIsDestroyed) {
  World world(CleanMachine());
  const HDEVINFO list = ListRoots(true);
  EXPECT_EQ(world.process.OpenObjects()[ObjectKind::DeviceInfoList], 1u);
  EXPECT_TRUE(SetupDiDestroyDeviceInfoList(list));
  EXPECT_EQ(world.process.OpenObjects()[ObjectKind::DeviceInfoList], 0u);
  EXPECT_FALSE(SetupDiDestroyDeviceInfoList(list));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
  SP_DEVINFO_DATA device = EmptyDevice();
  EXPECT_FALSE(SetupDiEnumDeviceInfo(list, 0, &device));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

TEST(DeviceList, IsNotLeftOpenWhenItsCreationFailsAfterItsEffect) {
  World world(CleanMachine());
  Fault fault;
  fault.call = "SetupDiGetClassDevsW";
  fault.kind = FaultKind::FailAfterEffect;
  fault.error = ERROR_ACCESS_DENIED;
  world.process.faults = {fault};
  EXPECT_EQ(ListRoots(true), INVALID_DEVICE_INFO_LIST);
  EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
  EXPECT_EQ(world.process.OpenObjects()[ObjectKind::DeviceInfoList], 0u);
}

TEST(DeviceList, RefusesARecordOfAnotherSize) {
  World world(CleanMachine());
  SP_DEVINFO_DATA device = {};
  device.cbSize = sizeof device - 4;
  EXPECT_FALSE(SetupDiEnumDeviceInfo(ListRoots(true), 0, &device));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_USER_BUFFER);
  EXPECT_EQ(device.DevInst, 0u);
}

TEST(DeviceList, RefusesAnElementOfAnotherList) {
  World world(InstalledMachine());
  const SP_DEVINFO_DATA ours = ElementOf(ListRoots(true), kRootId);
  const HDEVINFO empty = SetupDiCreateDeviceInfoList(&kMediaClass);
  EXPECT_FALSE(SetupDiGetDeviceInstanceIdW(empty, &ours, nullptr, 0, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST(DeviceInstanceId, ReportsItsSizeWithTheTerminator) {
  World world(InstalledMachine());
  const HDEVINFO list = ListRoots(true);
  const SP_DEVINFO_DATA device = ElementOf(list, kRootId);
  std::uint32_t required = 0;
  EXPECT_FALSE(SetupDiGetDeviceInstanceIdW(list, &device, nullptr, 0, &required));
  EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  EXPECT_EQ(required, 16u);
  char16_t id[16] = {};
  EXPECT_FALSE(SetupDiGetDeviceInstanceIdW(list, &device, id, 15, &required));
  EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  EXPECT_EQ(id[0], u'\0');
  EXPECT_TRUE(SetupDiGetDeviceInstanceIdW(list, &device, id, 16, nullptr));
  EXPECT_EQ(std::u16string(id), kRootId);
}

TEST(DeviceInstanceId, OfARemovedDeviceStaysInTheList) {
  World world(InstalledMachine());
  const HDEVINFO list = ListRoots(true);
  const SP_DEVINFO_DATA device = ElementOf(list, kRootId);
  RemoveDeviceNode(world.machine, kRootId);
  EXPECT_EQ(InstanceIdOf(list, device), kRootId);
}

TEST(DeviceHardwareIds, AreAMultiStringWithTwoTerminators) {
  World world(InstalledMachine());
  world.Device(kRootId).hardwareIds = {u"Root\\Other", kSampleHardwareId};
  const HDEVINFO list = ListRoots(true);
  const std::u16string text = AsText(ReadHardwareIds(list, ElementOf(list, kRootId)));
  EXPECT_EQ(text, std::u16string(u"Root\\Other\0Root\\VornAudio\0\0", 27));
}

TEST(DeviceHardwareIds, NeedAWholeBuffer) {
  World world(InstalledMachine());
  const HDEVINFO list = ListRoots(true);
  const SP_DEVINFO_DATA device = ElementOf(list, kRootId);
  Bytes buffer(32, 0xEE);
  std::uint32_t required = 0;
  EXPECT_FALSE(SetupDiGetDeviceRegistryPropertyW(list, &device, SPDRP_HARDWAREID, nullptr,
                                                 buffer.data(), 31, &required));
  EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  EXPECT_EQ(required, 32u);
  EXPECT_EQ(buffer, Bytes(32, 0xEE));
  EXPECT_TRUE(SetupDiGetDeviceRegistryPropertyW(list, &device, SPDRP_HARDWAREID, nullptr,
                                                buffer.data(), 32, nullptr));
}

TEST(DeviceHardwareIds, AreInvalidDataWhenMissing) {
  World world(InstalledMachine());
  world.Device(kRootId).hardwareIds.clear();
  const HDEVINFO list = ListRoots(true);
  const SP_DEVINFO_DATA device = ElementOf(list, kRootId);
  Bytes buffer(1024);
  EXPECT_FALSE(SetupDiGetDeviceRegistryPropertyW(list, &device, SPDRP_HARDWAREID, nullptr,
                                                 buffer.data(), 1024, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_DATA);
}

TEST(DeviceHardwareIds, MayBeAnyBytesThatTheRegistryHolds) {
  World world(InstalledMachine());
  world.Device(kRootId).hardwareIdData = Bytes{u8'R', 0, u8'o'};
  const HDEVINFO list = ListRoots(true);
  EXPECT_EQ(ReadHardwareIds(list, ElementOf(list, kRootId)), (Bytes{u8'R', 0, u8'o'}));
}

TEST(DeviceHardwareIds, OfARemovedDeviceCannotBeRead) {
  World world(InstalledMachine());
  const HDEVINFO list = ListRoots(true);
  const SP_DEVINFO_DATA device = ElementOf(list, kRootId);
  RemoveDeviceNode(world.machine, kRootId);
  Bytes buffer(1024);
  EXPECT_FALSE(SetupDiGetDeviceRegistryPropertyW(list, &device, SPDRP_HARDWAREID, nullptr,
                                                 buffer.data(), 1024, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_NO_SUCH_DEVINST);
}

TEST(DeviceHardwareIds, AreCutWhenPlanned) {
  World world(InstalledMachine());
  Fault fault;
  fault.call = "SetupDiGetDeviceRegistryPropertyW";
  fault.kind = FaultKind::Short;
  fault.amount = 6;
  fault.last = kEveryLaterCall;
  world.process.faults = {fault};
  const HDEVINFO list = ListRoots(true);
  EXPECT_EQ(AsText(ReadHardwareIds(list, ElementOf(list, kRootId))), u"Roo");
}

TEST(DeviceProperty, IsReadWithTypeAndSizeInBytes) {
  World world(InstalledMachine());
  const HDEVINFO list = ListRoots(true);
  const SP_DEVINFO_DATA device = ElementOf(list, kRootId);
  std::uint32_t type = 0;
  std::uint32_t required = 0;
  EXPECT_FALSE(
      SetupDiGetDevicePropertyW(list, &device, &kDriverVersionKey, &type, nullptr, 0, &required));
  EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  EXPECT_EQ(type, DEVPROP_TYPE_STRING);
  EXPECT_EQ(required, 20u);
  char16_t version[10] = {};
  EXPECT_TRUE(SetupDiGetDevicePropertyW(list, &device, &kDriverVersionKey, &type, version,
                                        sizeof version, nullptr));
  EXPECT_EQ(std::u16string(version), kSampleVersion);
}

TEST(DeviceProperty, IsNotFoundWhenMissing) {
  World world(DuplicatesMachine());
  const HDEVINFO list = ListRoots(true);
  const SP_DEVINFO_DATA device = ElementOf(list, u"ROOT\\MEDIA\\0002");
  std::uint32_t type = 0;
  char16_t text[64] = {};
  EXPECT_FALSE(
      SetupDiGetDevicePropertyW(list, &device, &kServiceKey, &type, text, sizeof text, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_NOT_FOUND);
}

TEST(SetupClass, HasANameOfAtMostThirtyTwoUnits) {
  World world(CleanMachine());
  char16_t name[32] = {};
  std::uint32_t required = 0;
  EXPECT_TRUE(SetupDiClassNameFromGuidW(&kMediaClass, name, 32, &required));
  EXPECT_EQ(std::u16string(name), u"MEDIA");
  EXPECT_EQ(required, 6u);
  EXPECT_FALSE(SetupDiClassNameFromGuidW(&kMediaClass, name, 5, &required));
  EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  EXPECT_FALSE(SetupDiClassNameFromGuidW(&kControlInterfaceClass, name, 32, nullptr));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_CLASS);
}

TEST(DeviceCallLog, NamesDevicesByTheirInstanceIds) {
  World world(InstalledMachine());
  world.process.logCalls = true;
  const HDEVINFO list = ListRoots(true);
  const SP_DEVINFO_DATA device = ElementOf(list, kRootId);
  SetupDiCallClassInstaller(DIF_REMOVE, list, &device);
  const CallRecord& call = world.process.calls.back();
  EXPECT_EQ(call.name, "SetupDiCallClassInstaller");
  EXPECT_EQ(call.Argument("DeviceInfoData"), "ROOT\\MEDIA\\0000");
  EXPECT_EQ(call.Argument("InstallFunction"), "0x5");
  EXPECT_EQ(world.process.calls.front().Argument("Flags"), "0x6");
}

}  // namespace vorn::tests

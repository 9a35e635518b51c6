// New devices: generated ids, hardware ids, registration.

#include "platform/simulated/config_manager_values.h"
#include "platform/simulated/error_values.h"
#include "tests/simulated/device_calls.h"
#include "tests/support/sample.h"

namespace vorn::tests {

using namespace platform;
using namespace platform::simulated;

namespace {

std::optional<SP_DEVINFO_DATA> Create(HDEVINFO list, const char16_t* name = u"MEDIA",
                                      std::uint32_t flags = DICD_GENERATE_ID) {
  SP_DEVINFO_DATA device = EmptyDevice();
  const bool created = SetupDiCreateDeviceInfoW(list, name, &kMediaClass, nullptr, flags, &device);
  return created ? std::optional(device) : std::nullopt;
}

bool SetHardwareIds(HDEVINFO list, const SP_DEVINFO_DATA& device, std::u16string_view text) {
  return SetupDiSetDeviceRegistryPropertyW(list, &device, SPDRP_HARDWAREID, text.data(),
                                           static_cast<std::uint32_t>(text.size() * 2));
}

constexpr std::u16string_view kHardwareIdList(u"Root\\VornAudio\0\0", 16);

}  // namespace

TEST(DeviceCreation, GeneratesTheFirstFreeId) {
  World world(CleanMachine());
  const HDEVINFO list = SetupDiCreateDeviceInfoList(&kMediaClass);
  EXPECT_EQ(InstanceIdOf(list, *Create(list)), kRootId);
  EXPECT_EQ(InstanceIdOf(list, *Create(list)), u"ROOT\\MEDIA\\0001") << "also within one list";
}

TEST(DeviceCreation, SkipsAbsentDevicesAndFillsGaps) {
  World world(DuplicatesMachine());
  RemoveDeviceNode(world.machine, kRootId);
  const HDEVINFO list = SetupDiCreateDeviceInfoList(&kMediaClass);
  EXPECT_EQ(InstanceIdOf(list, *Create(list)), kRootId);
  EXPECT_EQ(InstanceIdOf(list, *Create(list)), u"ROOT\\MEDIA\\0003");
}

TEST(DeviceCreation, WritesTheIdInUpperCase) {
  World world(CleanMachine());
  const HDEVINFO list = SetupDiCreateDeviceInfoList(&kMediaClass);
  EXPECT_EQ(InstanceIdOf(list, *Create(list, u"media")), kRootId);
}

TEST(DeviceCreation, AddsNothingToTheTree) {
  World world(CleanMachine());
  const auto before = world.machine.devices;
  const HDEVINFO list = SetupDiCreateDeviceInfoList(&kMediaClass);
  const SP_DEVINFO_DATA device = *Create(list);
  EXPECT_TRUE(SetHardwareIds(list, device, kHardwareIdList));
  EXPECT_EQ(world.machine.devices, before);
  EXPECT_EQ(StateOf(device.DevInst).result, CR_NO_SUCH_DEVNODE);
}

TEST(DeviceCreation, IsForgottenWithItsListUnlessRegistered) {
  World world(CleanMachine());
  const auto before = world.machine.devices;
  const HDEVINFO list = SetupDiCreateDeviceInfoList(&kMediaClass);
  Create(list);
  SetupDiDestroyDeviceInfoList(list);
  EXPECT_EQ(world.machine.devices, before);
}

TEST(DeviceCreation, RefusesInvalidNames) {
  World world(CleanMachine());
  const HDEVINFO list = SetupDiCreateDeviceInfoList(&kMediaClass);
  for (const char16_t* name : {u"", u"A\\B", kRootId}) {
    EXPECT_FALSE(Create(list, name));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_DEVINST_NAME);
  }
  EXPECT_FALSE(Create(list, u"MEDIA", 0)) << "a whole id is needed without a generated one";
  EXPECT_EQ(GetLastError(), ERROR_INVALID_DEVINST_NAME);
  EXPECT_FALSE(Create(list, u"MEDIA", 0x80));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_FLAGS);
}

TEST(DeviceCreation, AcceptsACompleteIdThatIsFree) {
  World world(InstalledMachine());
  const HDEVINFO list = SetupDiCreateDeviceInfoList(nullptr);
  EXPECT_EQ(InstanceIdOf(list, *Create(list, u"ROOT\\MEDIA\\0042", 0)), u"ROOT\\MEDIA\\0042");
  EXPECT_FALSE(Create(list, kRootId, 0));
  EXPECT_EQ(GetLastError(), ERROR_DEVINST_ALREADY_EXISTS);
}

TEST(DeviceCreation, RefusesAClassOtherThanTheLists) {
  World world(CleanMachine());
  const HDEVINFO list = SetupDiCreateDeviceInfoList(&kAudioEndpointClass);
  EXPECT_FALSE(Create(list));
  EXPECT_EQ(GetLastError(), ERROR_CLASS_MISMATCH);
}

TEST(DeviceCreation, AcceptsOnlyACompleteMultiString) {
  World world(CleanMachine());
  const HDEVINFO list = SetupDiCreateDeviceInfoList(&kMediaClass);
  const SP_DEVINFO_DATA device = *Create(list);
  const std::u16string_view malformed[] = {
      std::u16string_view(kSampleHardwareId, 14), std::u16string_view(u"Root\\VornAudio\0", 15),
      std::u16string_view(u"\0", 1), std::u16string_view(u"\0\0", 2),
      std::u16string_view(u"A\0\0B\0\0", 6)};
  for (const std::u16string_view text : malformed) {
    EXPECT_FALSE(SetHardwareIds(list, device, text));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_DATA);
  }
  EXPECT_FALSE(SetupDiSetDeviceRegistryPropertyW(list, &device, SPDRP_HARDWAREID,
                                                 kHardwareIdList.data(), 31))
      << "an odd size";
  EXPECT_TRUE(SetHardwareIds(list, device, kHardwareIdList));
  EXPECT_FALSE(
      SetupDiSetDeviceRegistryPropertyW(list, &device, 0x1234, kHardwareIdList.data(), 32));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_REG_PROPERTY);
}

TEST(DeviceRegistration, CreatesAPresentDeviceWithoutADriver) {
  World world(CleanMachine());
  const HDEVINFO list = SetupDiCreateDeviceInfoList(&kMediaClass);
  const SP_DEVINFO_DATA device = *Create(list);
  ASSERT_TRUE(SetHardwareIds(list, device, kHardwareIdList));
  ASSERT_TRUE(SetupDiCallClassInstaller(DIF_REGISTERDEVICE, list, &device));
  const NodeState state = StateOf(NodeOf(kRootId));
  EXPECT_EQ(state.result, CR_SUCCESS);
  EXPECT_EQ(state.problem, CM_PROB_FAILED_INSTALL);
  EXPECT_EQ(state.status & DN_STARTED, 0u);
  EXPECT_EQ(world.Device(kRootId).hardwareIds, std::vector<std::u16string>{kSampleHardwareId});
  EXPECT_EQ(world.Device(kRootId).className, u"MEDIA");
}

TEST(DeviceRegistration, AgainChangesNothing) {
  World world(CleanMachine());
  const HDEVINFO list = SetupDiCreateDeviceInfoList(&kMediaClass);
  const SP_DEVINFO_DATA device = *Create(list);
  ASSERT_TRUE(SetupDiCallClassInstaller(DIF_REGISTERDEVICE, list, &device));
  const auto before = world.machine.devices;
  EXPECT_TRUE(SetupDiCallClassInstaller(DIF_REGISTERDEVICE, list, &device));
  EXPECT_EQ(world.machine.devices, before);
}

TEST(DeviceRegistration, FailsWhenTheIdWasTakenMeanwhile) {
  World world(CleanMachine());
  const HDEVINFO list = SetupDiCreateDeviceInfoList(&kMediaClass);
  const SP_DEVINFO_DATA device = *Create(list);
  AddRoot(world.machine, kRootId);
  EXPECT_FALSE(SetupDiCallClassInstaller(DIF_REGISTERDEVICE, list, &device));
  EXPECT_EQ(GetLastError(), ERROR_DEVINST_ALREADY_EXISTS);
}

TEST(DeviceRegistration, KeepsTheTreeInTheOrderOfIds) {
  World world(DuplicatesMachine());
  RemoveDeviceNode(world.machine, u"ROOT\\MEDIA\\0001");
  const HDEVINFO list = SetupDiCreateDeviceInfoList(&kMediaClass);
  for (int i = 0; i < 2; ++i) {
    const SP_DEVINFO_DATA device = *Create(list);
    ASSERT_TRUE(SetupDiCallClassInstaller(DIF_REGISTERDEVICE, list, &device));
  }
  const std::vector<std::u16string> ids = {kRootId, u"ROOT\\MEDIA\\0001", u"ROOT\\MEDIA\\0002",
                                           u"ROOT\\MEDIA\\0003", u"ROOT\\SYSTEM\\0000"};
  EXPECT_EQ(IdsOf(ListRoots(true)), ids);
}

TEST(DeviceInstallParams, MustHaveTheirSize) {
  World world(InstalledMachine());
  const HDEVINFO list = ListRoots(true);
  const SP_DEVINFO_DATA device = ElementOf(list, kRootId);
  SP_DEVINSTALL_PARAMS_W parameters = {};
  parameters.cbSize = 580;
  EXPECT_FALSE(SetupDiGetDeviceInstallParamsW(list, &device, &parameters));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_USER_BUFFER);
  parameters.cbSize = 584;
  EXPECT_TRUE(SetupDiGetDeviceInstallParamsW(list, &device, &parameters));
  EXPECT_EQ(parameters.Flags & (DI_NEEDRESTART | DI_NEEDREBOOT), 0u);
}

TEST(DeviceInstallParams, StartWithTheConfiguredFlags) {
  World world(InstalledMachine());
  world.Device(kRootId).installFlags = DI_NEEDRESTART;
  const HDEVINFO list = ListRoots(true);
  EXPECT_NE(InstallFlagsOf(list, ElementOf(list, kRootId)) & DI_NEEDRESTART, 0u);
}

TEST(ClassInstallParams, AreCheckedBySizeAndContent) {
  World world(InstalledMachine());
  const HDEVINFO list = ListRoots(true);
  const SP_DEVINFO_DATA device = ElementOf(list, kRootId);
  const auto set = [&](std::uint32_t headerSize, std::uint32_t function, std::uint32_t first,
                       std::uint32_t second, std::uint32_t size) -> std::uint32_t {
    const SP_PROPCHANGE_PARAMS block = {{headerSize, function}, first, second, 0};
    if (SetupDiSetClassInstallParamsW(list, &device, &block.ClassInstallHeader, size)) return 0;
    return GetLastError();
  };
  EXPECT_EQ(set(8, DIF_REMOVE, DI_REMOVEDEVICE_GLOBAL, 0, 16), 0u);
  EXPECT_EQ(set(12, DIF_REMOVE, DI_REMOVEDEVICE_GLOBAL, 0, 16), ERROR_INVALID_USER_BUFFER);
  EXPECT_EQ(set(8, DIF_REMOVE, DI_REMOVEDEVICE_GLOBAL, 0, 15), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(set(8, DIF_REMOVE, DI_REMOVEDEVICE_GLOBAL, 0, 7), ERROR_INVALID_PARAMETER);
  EXPECT_EQ(set(8, DIF_REMOVE, 0, 0, 16), ERROR_INVALID_FLAGS);
  EXPECT_EQ(set(8, DIF_PROPERTYCHANGE, DICS_PROPCHANGE, DICS_FLAG_CONFIGSPECIFIC, 20), 0u);
  EXPECT_EQ(set(8, DIF_PROPERTYCHANGE, DICS_PROPCHANGE, DICS_FLAG_CONFIGSPECIFIC, 16),
            ERROR_INVALID_PARAMETER);
  EXPECT_EQ(set(8, DIF_PROPERTYCHANGE, 9, DICS_FLAG_CONFIGSPECIFIC, 20), ERROR_INVALID_FLAGS);
  EXPECT_EQ(set(8, DIF_PROPERTYCHANGE, DICS_PROPCHANGE, 3, 20), ERROR_INVALID_FLAGS);
}

TEST(ClassInstaller, DoesNotKnowOtherFunctions) {
  World world(InstalledMachine());
  const HDEVINFO list = ListRoots(true);
  const SP_DEVINFO_DATA device = ElementOf(list, kRootId);
  EXPECT_FALSE(SetupDiCallClassInstaller(0x77, list, &device));
  EXPECT_EQ(GetLastError(), ERROR_DI_DO_DEFAULT);
}

}  // namespace vorn::tests

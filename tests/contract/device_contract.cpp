// Devices: a root device of the suite's own is created, listed, read and removed. No driver is
// installed for it.

#include "platform/config_manager.h"
#include "platform/device_setup.h"
#include "platform/last_error.h"
#include "platform/simulated/config_manager_values.h"
#include "platform/simulated/error_values.h"
#include "tests/contract/contract.h"
#include "tests/contract/own_device.h"

#include <cstring>

namespace vorn::contract {

using namespace platform;

namespace {

constexpr GUID kNoClass = {
    0x8f1e7a11, 0x0001, 0x4c4c, {0x90, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07}};

}  // namespace

CONTRACT(AGeneratedDeviceStandsUnderRoot) {
  const OwnDevice own;
  const std::u16string id = InstanceId(own.List(), own.Device());
  CHECK_EQ(id.size(), 15U);
  CHECK_EQ(id.substr(0, 11), std::u16string(u"ROOT\\MEDIA\\"));
  CHECK(own.Device().ClassGuid == kMediaClass);
}

CONTRACT(ARegisteredDeviceIsListedAndGoesWithItsRemoval) {
  CHECK_EQ(CountOwnDevices(), 0);
  OwnDevice own;
  CHECK_EQ(CountOwnDevices(), 1);
  {
    OwnDevice second;
    CHECK_EQ(CountOwnDevices(), 2);
    CHECK(InstanceId(second.List(), second.Device()) != InstanceId(own.List(), own.Device()));
  }
  CHECK(own.Remove());
  CHECK_EQ(CountOwnDevices(), 0);
}

CONTRACT(AnUnregisteredDeviceIsNotListed) {
  const DeviceList list(SetupDiCreateDeviceInfoList(&kMediaClass));
  SP_DEVINFO_DATA device = NoDevice();
  CHECK(SetupDiCreateDeviceInfoW(list.Handle(), u"MEDIA", &kMediaClass, nullptr, DICD_GENERATE_ID,
                                 &device));
  CHECK_EQ(CountOwnDevices(), 0);
}

CONTRACT(AHardwareIdIsAMultiStringWithItsSize) {
  const OwnDevice own;
  std::uint32_t type = 0;
  std::uint32_t required = 0;
  CHECK(!SetupDiGetDeviceRegistryPropertyW(own.List(), &own.Device(), SPDRP_HARDWAREID, &type,
                                           nullptr, 0, &required));
  CHECK_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  CHECK_EQ(required, 38U);
  char16_t text[19] = {};
  CHECK(SetupDiGetDeviceRegistryPropertyW(own.List(), &own.Device(), SPDRP_HARDWAREID, &type, text,
                                          38, &required));
  CHECK_EQ(type, 7U);
  CHECK_EQ(std::u16string(text), std::u16string(u"Root\\VornContract"));
}

CONTRACT(AnInstanceIdNeedsRoomForItsTerminator) {
  const OwnDevice own;
  char16_t id[32] = {};
  std::uint32_t required = 0;
  CHECK(!SetupDiGetDeviceInstanceIdW(own.List(), &own.Device(), id, 15, &required));
  CHECK_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  CHECK_EQ(required, 16U);
  CHECK(SetupDiGetDeviceInstanceIdW(own.List(), &own.Device(), id, 16, &required));
}

CONTRACT(AnEmptyListEndsAtOnce) {
  const DeviceList list(SetupDiCreateDeviceInfoList(&kMediaClass));
  SP_DEVINFO_DATA device = NoDevice();
  CHECK(!SetupDiEnumDeviceInfo(list.Handle(), 0, &device));
  CHECK_EQ(GetLastError(), ERROR_NO_MORE_ITEMS);
}

CONTRACT(AnEnumerationChecksTheSizeOfItsElement) {
  const OwnDevice own;
  SP_DEVINFO_DATA device = {};
  device.cbSize = sizeof device - 1;
  CHECK(!SetupDiEnumDeviceInfo(own.List(), 0, &device));
  CHECK_EQ(GetLastError(), ERROR_INVALID_USER_BUFFER);
}

CONTRACT(InstallParametersHaveOneSize) {
  const OwnDevice own;
  SP_DEVINSTALL_PARAMS_W parameters = {};
  parameters.cbSize = 584;
  CHECK(SetupDiGetDeviceInstallParamsW(own.List(), &own.Device(), &parameters));
  CHECK_EQ(parameters.Flags & (DI_NEEDRESTART | DI_NEEDREBOOT), 0U);
  for (const std::uint32_t size : {0U, 556U, 583U, 585U}) {
    parameters.cbSize = size;
    CHECK(!SetupDiGetDeviceInstallParamsW(own.List(), &own.Device(), &parameters));
    CHECK_EQ(GetLastError(), ERROR_INVALID_USER_BUFFER);
  }
}

CONTRACT(AClosedListIsInvalid) {
  SP_DEVINFO_DATA device = NoDevice();
  CHECK(!SetupDiEnumDeviceInfo(INVALID_DEVICE_INFO_LIST, 0, &device));
  CHECK_EQ(GetLastError(), ERROR_INVALID_HANDLE);
  CHECK(!SetupDiDestroyDeviceInfoList(INVALID_DEVICE_INFO_LIST));
  CHECK_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

CONTRACT(AClassHasItsName) {
  char16_t name[32] = {};
  std::uint32_t required = 0;
  CHECK(SetupDiClassNameFromGuidW(&kMediaClass, name, 32, &required));
  CHECK_EQ(std::u16string(name), std::u16string(u"MEDIA"));
  CHECK_EQ(required, 6U);
  CHECK(!SetupDiClassNameFromGuidW(&kNoClass, name, 32, &required));
}

CONTRACT(AClassNameNeedsRoomForItsTerminator) {
  SkipOn(Side::Wine, "SetupDiClassNameFromGuidW fails without a last error");
  char16_t name[32] = {};
  std::uint32_t required = 0;
  CHECK(!SetupDiClassNameFromGuidW(&kMediaClass, name, 5, &required));
  CHECK_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
}

CONTRACT(InterfacesOfAnUnusedClassEndAtOnce) {
  const DeviceList list(
      SetupDiGetClassDevsW(&kNoClass, nullptr, DIGCF_PRESENT | DIGCF_DEVICEINTERFACE));
  NEED(list.Handle() != INVALID_DEVICE_INFO_LIST);
  SP_DEVICE_INTERFACE_DATA data = {};
  data.cbSize = sizeof data;
  CHECK(!SetupDiEnumDeviceInterfaces(list.Handle(), &kNoClass, 0, &data));
  CHECK_EQ(GetLastError(), ERROR_NO_MORE_ITEMS);
}

CONTRACT(AnInterfaceEnumerationChecksTheSizeOfItsElement) {
  const DeviceList list(
      SetupDiGetClassDevsW(&kNoClass, nullptr, DIGCF_PRESENT | DIGCF_DEVICEINTERFACE));
  SP_DEVICE_INTERFACE_DATA data = {};
  data.cbSize = sizeof data - 1;
  CHECK(!SetupDiEnumDeviceInterfaces(list.Handle(), &kNoClass, 0, &data));
  CHECK_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

CONTRACT(ClassParametersAreTakenForAPropertyChange) {
  SkipOn(Side::Wine, "SetupDiSetClassInstallParamsW is a stub that returns 0");
  const OwnDevice own;
  SP_PROPCHANGE_PARAMS parameters = {{sizeof(SP_CLASSINSTALL_HEADER), DIF_PROPERTYCHANGE},
                                     DICS_PROPCHANGE,
                                     DICS_FLAG_CONFIGSPECIFIC,
                                     0};
  CHECK(SetupDiSetClassInstallParamsW(own.List(), &own.Device(), &parameters.ClassInstallHeader,
                                      sizeof parameters));
}

CONTRACT(ADeviceWithoutADriverHasNoDriverProperties) {
  const OwnDevice own;
  std::uint32_t type = 0;
  char16_t text[64] = {};
  std::uint32_t required = 0;
  CHECK(!SetupDiGetDevicePropertyW(own.List(), &own.Device(), &DEVPKEY_Device_DriverVersion, &type,
                                   text, sizeof text, &required));
  CHECK_EQ(GetLastError(), ERROR_NOT_FOUND);
}

CONTRACT(ANodeIsLocatedByItsInstanceId) {
  SkipOn(Side::Wine, "CM_Locate_DevNodeW always answers CR_FAILURE");
  const OwnDevice own;
  const std::u16string id = InstanceId(own.List(), own.Device());
  DEVINST node = 0;
  CHECK_EQ(CM_Locate_DevNodeW(&node, id.c_str(), CM_LOCATE_DEVNODE_NORMAL), CR_SUCCESS);
  CHECK_EQ(node, own.Device().DevInst);
  CHECK_EQ(CM_Locate_DevNodeW(&node, u"ROOT\\MEDIA\\9999", CM_LOCATE_DEVNODE_NORMAL),
           CR_NO_SUCH_DEVNODE);
}

CONTRACT(AnInvalidNodeHasNoStatus) {
  SkipOn(Side::Wine, "CM_Get_DevNode_Status succeeds and writes nothing");
  std::uint32_t status = 0;
  std::uint32_t problem = 0;
  CHECK(CM_Get_DevNode_Status(&status, &problem, 0xFFFFFFF0) != CR_SUCCESS);
}

CONTRACT(ADeviceWithoutADriverHasNoChildren) {
  SkipOn(Side::Wine, "CM_Get_Child gives every node the child 0");
  const OwnDevice own;
  DEVINST child = 0;
  CHECK_EQ(CM_Get_Child(&child, own.Device().DevInst), CR_NO_SUCH_DEVNODE);
}

CONTRACT(ANodeKnowsItsInstanceId) {
  const OwnDevice own;
  std::uint32_t length = 0;
  CHECK_EQ(CM_Get_Device_ID_Size(&length, own.Device().DevInst), CR_SUCCESS);
  CHECK_EQ(length, 15U);
  char16_t id[32] = {};
  CHECK_EQ(CM_Get_Device_IDW(own.Device().DevInst, id, 32), CR_SUCCESS);
  CHECK_EQ(std::u16string(id), InstanceId(own.List(), own.Device()));
}

CONTRACT(AQueriedAndRemovedNodeStaysStoppedUntilItIsRemoved) {
  SkipOn(Side::Wine, "CM_Query_And_Remove_SubTreeW is missing and would end the process");
  OwnDevice own;
  const std::u16string id = InstanceId(own.List(), own.Device());
  std::uint32_t veto = 0;
  char16_t name[MAX_PATH] = {};
  NEED(CM_Query_And_Remove_SubTreeW(own.Device().DevInst, &veto, name, MAX_PATH,
                                    CM_REMOVE_UI_NOT_OK | CM_REMOVE_NO_RESTART) == CR_SUCCESS);
  CHECK_EQ(CountOwnDevices(), 1);
  DEVINST node = 0;
  NEED(CM_Locate_DevNodeW(&node, id.c_str(), CM_LOCATE_DEVNODE_NORMAL) == CR_SUCCESS);
  std::uint32_t status = 0;
  std::uint32_t problem = 0;
  NEED(CM_Get_DevNode_Status(&status, &problem, node) == CR_SUCCESS);
  CHECK_EQ(status & DN_STARTED, 0U);
  CHECK(own.Remove());
  CHECK_EQ(CountOwnDevices(), 0);
  CHECK_EQ(CM_Locate_DevNodeW(&node, id.c_str(), CM_LOCATE_DEVNODE_NORMAL), CR_NO_SUCH_DEVNODE);
}

}  // namespace vorn::contract

#include "platform/device_setup.h"

// clang-format off
#include "platform/windows/casts.h"
#include <setupapi.h>
#include <devpropdef.h>
// clang-format on

#include "platform/windows/system_library.h"

namespace vorn::platform {

using windows::As;
using windows::AsDword;
using windows::AsGuid;
using windows::Wide;

namespace {

::SP_DEVINFO_DATA* AsDevice(const SP_DEVINFO_DATA* device) {
  return As<::SP_DEVINFO_DATA*>(device);
}

}  // namespace

HDEVINFO SetupDiGetClassDevsW(const GUID* classGuid, const char16_t* enumerator,
                              std::uint32_t flags) {
  return As<HDEVINFO>(::SetupDiGetClassDevsW(AsGuid(classGuid), Wide(enumerator), nullptr, flags));
}

HDEVINFO SetupDiCreateDeviceInfoList(const GUID* classGuid) {
  return As<HDEVINFO>(::SetupDiCreateDeviceInfoList(AsGuid(classGuid), nullptr));
}

bool SetupDiDestroyDeviceInfoList(HDEVINFO list) {
  return ::SetupDiDestroyDeviceInfoList(As<::HDEVINFO>(list)) != 0;
}

bool SetupDiEnumDeviceInfo(HDEVINFO list, std::uint32_t index, SP_DEVINFO_DATA* device) {
  return ::SetupDiEnumDeviceInfo(As<::HDEVINFO>(list), index, AsDevice(device)) != 0;
}

bool SetupDiGetDeviceInstanceIdW(HDEVINFO list, const SP_DEVINFO_DATA* device, char16_t* id,
                                 std::uint32_t size, std::uint32_t* required) {
  return ::SetupDiGetDeviceInstanceIdW(As<::HDEVINFO>(list), AsDevice(device), Wide(id), size,
                                       AsDword(required)) != 0;
}

bool SetupDiGetDeviceRegistryPropertyW(HDEVINFO list, const SP_DEVINFO_DATA* device,
                                       std::uint32_t property, std::uint32_t* type, void* buffer,
                                       std::uint32_t size, std::uint32_t* required) {
  return ::SetupDiGetDeviceRegistryPropertyW(As<::HDEVINFO>(list), AsDevice(device), property,
                                             AsDword(type), static_cast<PBYTE>(buffer), size,
                                             AsDword(required)) != 0;
}

bool SetupDiSetDeviceRegistryPropertyW(HDEVINFO list, const SP_DEVINFO_DATA* device,
                                       std::uint32_t property, const void* buffer,
                                       std::uint32_t size) {
  return ::SetupDiSetDeviceRegistryPropertyW(As<::HDEVINFO>(list), AsDevice(device), property,
                                             static_cast<const BYTE*>(buffer), size) != 0;
}

bool SetupDiGetDevicePropertyW(HDEVINFO list, const SP_DEVINFO_DATA* device, const DEVPROPKEY* key,
                               std::uint32_t* type, void* buffer, std::uint32_t size,
                               std::uint32_t* required) {
  return ::SetupDiGetDevicePropertyW(As<::HDEVINFO>(list), AsDevice(device), As<::DEVPROPKEY*>(key),
                                     reinterpret_cast<DEVPROPTYPE*>(type),
                                     static_cast<PBYTE>(buffer), size, AsDword(required), 0) != 0;
}

bool SetupDiClassNameFromGuidW(const GUID* classGuid, char16_t* name, std::uint32_t size,
                               std::uint32_t* required) {
  return ::SetupDiClassNameFromGuidW(AsGuid(classGuid), Wide(name), size, AsDword(required)) != 0;
}

bool SetupDiCreateDeviceInfoW(HDEVINFO list, const char16_t* deviceName, const GUID* classGuid,
                              const char16_t* description, std::uint32_t flags,
                              SP_DEVINFO_DATA* device) {
  return ::SetupDiCreateDeviceInfoW(As<::HDEVINFO>(list), Wide(deviceName), AsGuid(classGuid),
                                    Wide(description), nullptr, flags, AsDevice(device)) != 0;
}

bool SetupDiSetClassInstallParamsW(HDEVINFO list, const SP_DEVINFO_DATA* device,
                                   const SP_CLASSINSTALL_HEADER* parameters, std::uint32_t size) {
  return ::SetupDiSetClassInstallParamsW(As<::HDEVINFO>(list), AsDevice(device),
                                         As<::SP_CLASSINSTALL_HEADER*>(parameters), size) != 0;
}

bool SetupDiCallClassInstaller(std::uint32_t installFunction, HDEVINFO list,
                               const SP_DEVINFO_DATA* device) {
  return ::SetupDiCallClassInstaller(installFunction, As<::HDEVINFO>(list), AsDevice(device)) != 0;
}

bool SetupDiGetDeviceInstallParamsW(HDEVINFO list, const SP_DEVINFO_DATA* device,
                                    SP_DEVINSTALL_PARAMS_W* parameters) {
  return ::SetupDiGetDeviceInstallParamsW(As<::HDEVINFO>(list), AsDevice(device),
                                          As<::SP_DEVINSTALL_PARAMS_W*>(parameters)) != 0;
}

bool SetupDiEnumDeviceInterfaces(HDEVINFO list, const GUID* interfaceClass, std::uint32_t index,
                                 SP_DEVICE_INTERFACE_DATA* interfaceData) {
  return ::SetupDiEnumDeviceInterfaces(As<::HDEVINFO>(list), nullptr, AsGuid(interfaceClass), index,
                                       As<::SP_DEVICE_INTERFACE_DATA*>(interfaceData)) != 0;
}

bool SetupDiGetDeviceInterfaceDetailW(HDEVINFO list, const SP_DEVICE_INTERFACE_DATA* interfaceData,
                                      SP_DEVICE_INTERFACE_DETAIL_DATA_W* detail, std::uint32_t size,
                                      std::uint32_t* required, SP_DEVINFO_DATA* device) {
  return ::SetupDiGetDeviceInterfaceDetailW(As<::HDEVINFO>(list),
                                            As<::SP_DEVICE_INTERFACE_DATA*>(interfaceData),
                                            As<::SP_DEVICE_INTERFACE_DETAIL_DATA_W*>(detail), size,
                                            AsDword(required), AsDevice(device)) != 0;
}

bool UpdateDriverForPlugAndPlayDevicesW(const char16_t* hardwareId, const char16_t* infPath,
                                        std::uint32_t flags, bool* restartRequired) {
  static const windows::SystemFunction<BOOL(WINAPI*)(::HWND, const wchar_t*, const wchar_t*, DWORD,
                                                     BOOL*)>
      update(L"newdev.dll", "UpdateDriverForPlugAndPlayDevicesW");
  if (update.Get() == nullptr) {
    ::SetLastError(ERROR_PROC_NOT_FOUND);
    return false;
  }
  BOOL restart = FALSE;
  const bool updated = update.Get()(nullptr, Wide(hardwareId), Wide(infPath), flags, &restart) != 0;
  *restartRequired = restart != 0;
  return updated;
}

}  // namespace vorn::platform

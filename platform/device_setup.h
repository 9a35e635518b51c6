#pragma once

// SetupAPI's device information lists, class installer calls and device interfaces, and newdev's
// driver update.

#include "platform/types.h"

#include <cstddef>
#include <cstdint>

namespace vorn::platform {

struct SP_DEVINFO_DATA {
  std::uint32_t cbSize;
  GUID ClassGuid;
  DEVINST DevInst;
  std::uintptr_t Reserved;
};
static_assert(sizeof(SP_DEVINFO_DATA) == 32);

struct SP_DEVICE_INTERFACE_DATA {
  std::uint32_t cbSize;
  GUID InterfaceClassGuid;
  std::uint32_t Flags;
  std::uintptr_t Reserved;
};
static_assert(sizeof(SP_DEVICE_INTERFACE_DATA) == 32);

/// The header of an interface's detail; the path follows `cbSize` directly. On x64 `cbSize` is 8.
struct SP_DEVICE_INTERFACE_DETAIL_DATA_W {
  std::uint32_t cbSize;
  char16_t DevicePath[1];
};
static_assert(sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_W) == 8);
static_assert(offsetof(SP_DEVICE_INTERFACE_DETAIL_DATA_W, DevicePath) == 4);

struct SP_CLASSINSTALL_HEADER {
  std::uint32_t cbSize;
  std::uint32_t InstallFunction;
};
static_assert(sizeof(SP_CLASSINSTALL_HEADER) == 8);

struct SP_REMOVEDEVICE_PARAMS {
  SP_CLASSINSTALL_HEADER ClassInstallHeader;
  std::uint32_t Scope;
  std::uint32_t HwProfile;
};
static_assert(sizeof(SP_REMOVEDEVICE_PARAMS) == 16);

struct SP_PROPCHANGE_PARAMS {
  SP_CLASSINSTALL_HEADER ClassInstallHeader;
  std::uint32_t StateChange;
  std::uint32_t Scope;
  std::uint32_t HwProfile;
};
static_assert(sizeof(SP_PROPCHANGE_PARAMS) == 20);

struct SP_DEVINSTALL_PARAMS_W {
  std::uint32_t cbSize;
  std::uint32_t Flags;
  std::uint32_t FlagsEx;
  HWND hwndParent;
  void* InstallMsgHandler;
  void* InstallMsgHandlerContext;
  void* FileQueue;
  std::uintptr_t ClassInstallReserved;
  std::uint32_t Reserved;
  char16_t DriverPath[MAX_PATH];
};
static_assert(sizeof(SP_DEVINSTALL_PARAMS_W) == 584);
static_assert(offsetof(SP_DEVINSTALL_PARAMS_W, hwndParent) == 16);
static_assert(offsetof(SP_DEVINSTALL_PARAMS_W, DriverPath) == 60);

inline constexpr std::uint32_t DIGCF_PRESENT = 0x02;
inline constexpr std::uint32_t DIGCF_ALLCLASSES = 0x04;
inline constexpr std::uint32_t DIGCF_DEVICEINTERFACE = 0x10;

inline constexpr std::uint32_t SPDRP_HARDWAREID = 0x01;

inline constexpr std::uint32_t DEVPROP_TYPE_STRING = 0x12;

inline constexpr DEVPROPKEY DEVPKEY_Device_DriverVersion = {
    {0xa8b865dd, 0x2e3d, 0x4094, {0xad, 0x97, 0xe5, 0x93, 0xa7, 0x0c, 0x75, 0xd6}}, 3};
inline constexpr DEVPROPKEY DEVPKEY_Device_DriverInfPath = {
    {0xa8b865dd, 0x2e3d, 0x4094, {0xad, 0x97, 0xe5, 0x93, 0xa7, 0x0c, 0x75, 0xd6}}, 5};
inline constexpr DEVPROPKEY DEVPKEY_Device_Service = {
    {0xa45c254e, 0xdf1c, 0x4efd, {0x80, 0x20, 0x67, 0xd1, 0x46, 0xa8, 0x50, 0xe0}}, 6};

/// Device interface class of kernel-streaming audio filters.
inline constexpr GUID KSCATEGORY_AUDIO = {
    0x6994AD04, 0x93EF, 0x11D0, {0xA3, 0xCC, 0x00, 0xA0, 0xC9, 0x22, 0x31, 0x96}};

inline constexpr std::uint32_t DICD_GENERATE_ID = 0x1;

inline constexpr std::uint32_t DIF_REMOVE = 0x05;
inline constexpr std::uint32_t DIF_PROPERTYCHANGE = 0x12;
inline constexpr std::uint32_t DIF_REGISTERDEVICE = 0x19;

inline constexpr std::uint32_t DI_REMOVEDEVICE_GLOBAL = 0x1;
inline constexpr std::uint32_t DICS_PROPCHANGE = 0x3;
inline constexpr std::uint32_t DICS_FLAG_CONFIGSPECIFIC = 0x2;

inline constexpr std::uint32_t DI_NEEDRESTART = 0x80;
inline constexpr std::uint32_t DI_NEEDREBOOT = 0x100;

inline constexpr std::uint32_t INSTALLFLAG_FORCE = 0x1;

/// A new list of the devices of a class, an enumerator or an interface class
/// (SetupDiGetClassDevsW without window). INVALID_DEVICE_INFO_LIST on failure; the caller destroys
/// the list.
HDEVINFO SetupDiGetClassDevsW(const GUID* classGuid, const char16_t* enumerator,
                              std::uint32_t flags);

/// An empty list for a setup class (SetupDiCreateDeviceInfoList without window); as above.
HDEVINFO SetupDiCreateDeviceInfoList(const GUID* classGuid);

/// Destroys a list (SetupDiDestroyDeviceInfoList).
bool SetupDiDestroyDeviceInfoList(HDEVINFO list);

/// The device at `index` of a list (SetupDiEnumDeviceInfo). ERROR_NO_MORE_ITEMS past the last.
bool SetupDiEnumDeviceInfo(HDEVINFO list, std::uint32_t index, SP_DEVINFO_DATA* device);

/// A device's instance id (SetupDiGetDeviceInstanceIdW); sizes in characters with the terminator.
/// `id` and `required` may be null.
bool SetupDiGetDeviceInstanceIdW(HDEVINFO list, const SP_DEVINFO_DATA* device, char16_t* id,
                                 std::uint32_t size, std::uint32_t* required);

/// A registry property of a device (SetupDiGetDeviceRegistryPropertyW); sizes in bytes. `type` and
/// `required` may be null.
bool SetupDiGetDeviceRegistryPropertyW(HDEVINFO list, const SP_DEVINFO_DATA* device,
                                       std::uint32_t property, std::uint32_t* type, void* buffer,
                                       std::uint32_t size, std::uint32_t* required);

/// Sets a registry property of a device (SetupDiSetDeviceRegistryPropertyW); size in bytes.
bool SetupDiSetDeviceRegistryPropertyW(HDEVINFO list, const SP_DEVINFO_DATA* device,
                                       std::uint32_t property, const void* buffer,
                                       std::uint32_t size);

/// A property of a device (SetupDiGetDevicePropertyW with flags 0); sizes in bytes. `required` may
/// be null.
bool SetupDiGetDevicePropertyW(HDEVINFO list, const SP_DEVINFO_DATA* device, const DEVPROPKEY* key,
                               std::uint32_t* type, void* buffer, std::uint32_t size,
                               std::uint32_t* required);

/// The name of a setup class (SetupDiClassNameFromGuidW); sizes in characters with the terminator.
/// `required` may be null.
bool SetupDiClassNameFromGuidW(const GUID* classGuid, char16_t* name, std::uint32_t size,
                               std::uint32_t* required);

/// Creates a device element in a list (SetupDiCreateDeviceInfoW without window). `description` may
/// be null.
bool SetupDiCreateDeviceInfoW(HDEVINFO list, const char16_t* deviceName, const GUID* classGuid,
                              const char16_t* description, std::uint32_t flags,
                              SP_DEVINFO_DATA* device);

/// Sets the parameter block of the next class installer call (SetupDiSetClassInstallParamsW).
bool SetupDiSetClassInstallParamsW(HDEVINFO list, const SP_DEVINFO_DATA* device,
                                   const SP_CLASSINSTALL_HEADER* parameters, std::uint32_t size);

/// Calls the class installer (SetupDiCallClassInstaller) with one of the DIF_ functions.
bool SetupDiCallClassInstaller(std::uint32_t installFunction, HDEVINFO list,
                               const SP_DEVINFO_DATA* device);

/// The installation parameters of a device (SetupDiGetDeviceInstallParamsW); `cbSize` must be 584.
bool SetupDiGetDeviceInstallParamsW(HDEVINFO list, const SP_DEVINFO_DATA* device,
                                    SP_DEVINSTALL_PARAMS_W* parameters);

/// The interface at `index` of a class in a list (SetupDiEnumDeviceInterfaces without device
/// filter). ERROR_NO_MORE_ITEMS past the last.
bool SetupDiEnumDeviceInterfaces(HDEVINFO list, const GUID* interfaceClass, std::uint32_t index,
                                 SP_DEVICE_INTERFACE_DATA* interfaceData);

/// The path and owner of an interface (SetupDiGetDeviceInterfaceDetailW); sizes in bytes. `detail`,
/// `required` and `device` may be null.
bool SetupDiGetDeviceInterfaceDetailW(HDEVINFO list, const SP_DEVICE_INTERFACE_DATA* interfaceData,
                                      SP_DEVICE_INTERFACE_DETAIL_DATA_W* detail, std::uint32_t size,
                                      std::uint32_t* required, SP_DEVINFO_DATA* device);

/// Installs the package of `infPath` on every device with that hardware id
/// (UpdateDriverForPlugAndPlayDevicesW without window). `*restartRequired` tells whether Windows
/// asks for a restart.
bool UpdateDriverForPlugAndPlayDevicesW(const char16_t* hardwareId, const char16_t* infPath,
                                        std::uint32_t flags, bool* restartRequired);

}  // namespace vorn::platform

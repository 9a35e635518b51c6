#include "restart.h"

#include "packages.h"
#include "state.h"

#include <windows.h>
#include <setupapi.h>

namespace supplement {

namespace {

constexpr wchar_t kDevice[] = L"ROOT\\MEDIA\\0000";
constexpr wchar_t kHardwareId[] = L"Root\\VornAudio\0";
const GUID kMedia = {0x4d36e96c, 0xe325, 0x11ce, {0xbf, 0xc1, 0x08, 0x00, 0x2b, 0xe1, 0x03, 0x18}};

template <class Function>
Function From(const wchar_t* library, const char* name) {
  return reinterpret_cast<Function>(
      reinterpret_cast<void*>(GetProcAddress(LoadLibraryW(library), name)));
}

#define REAL(name) const auto name##Real = From<decltype(&name)>(L"setupapi_real.dll", #name)

void RemoveDevice() {
  REAL(SetupDiCreateDeviceInfoList);
  REAL(SetupDiOpenDeviceInfoW);
  REAL(SetupDiCallClassInstaller);
  REAL(SetupDiDestroyDeviceInfoList);
  HDEVINFO list = SetupDiCreateDeviceInfoListReal(nullptr, nullptr);
  SP_DEVINFO_DATA device = {};
  device.cbSize = sizeof device;
  if (SetupDiOpenDeviceInfoWReal(list, kDevice, nullptr, 0, &device)) {
    SetupDiCallClassInstallerReal(DIF_REMOVE, list, &device);
  }
  SetupDiDestroyDeviceInfoListReal(list);
}

void UnloadDriver() {
  SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT);
  SC_HANDLE service = OpenServiceW(manager, L"VornAudio", SERVICE_STOP | SERVICE_QUERY_STATUS);
  if (service != nullptr) {
    SERVICE_STATUS status = {};
    ControlService(service, SERVICE_CONTROL_STOP, &status);
    for (int i = 0; i < 100; ++i) {
      if (!QueryServiceStatus(service, &status) || status.dwCurrentState == SERVICE_STOPPED) break;
      Sleep(50);
    }
    CloseServiceHandle(service);
  }
  CloseServiceHandle(manager);
}

void RegisterDevice() {
  REAL(SetupDiCreateDeviceInfoList);
  REAL(SetupDiCreateDeviceInfoW);
  REAL(SetupDiSetDeviceRegistryPropertyW);
  REAL(SetupDiCallClassInstaller);
  REAL(SetupDiDestroyDeviceInfoList);
  HDEVINFO list = SetupDiCreateDeviceInfoListReal(&kMedia, nullptr);
  SP_DEVINFO_DATA device = {};
  device.cbSize = sizeof device;
  if (SetupDiCreateDeviceInfoWReal(list, kDevice, &kMedia, nullptr, nullptr, 0, &device)) {
    SetupDiSetDeviceRegistryPropertyWReal(list, &device, SPDRP_HARDWAREID,
                                          reinterpret_cast<const BYTE*>(kHardwareId),
                                          sizeof kHardwareId);
    SetupDiCallClassInstallerReal(DIF_REGISTERDEVICE, list, &device);
  }
  SetupDiDestroyDeviceInfoListReal(list);
}

void BindDevice(const std::wstring& inf) {
  using Call = BOOL(WINAPI*)(HWND, const wchar_t*, const wchar_t*, DWORD, BOOL*);
  BOOL restart = FALSE;
  From<Call>(L"newdev_real.dll", "UpdateDriverForPlugAndPlayDevicesW")(nullptr, kHardwareId,
                                                                       inf.c_str(), 1, &restart);
}

}  // namespace

bool DriverStarts() {
  for (int looks = 0; looks < 30; ++looks) {
    if (IsDriverRunning()) return true;
    Sleep(100);
  }
  return false;
}

void RestartDeviceWith(const std::wstring& published) {
  for (int tries = 0; tries < 3; ++tries) {
    RemoveDevice();
    UnloadDriver();
    RegisterDevice();
    BindDevice(StoredInf(published));
    if (DriverStarts()) return;
    Log("UpdateDriverForPlugAndPlayDevicesW(Wine lost the start of the driver)");
  }
}

}  // namespace supplement

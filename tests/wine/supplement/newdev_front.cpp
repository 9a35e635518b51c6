// A newdev.dll in front of Wine's own. Wine binds and starts a new device; what it lacks is the
// driver store, the exchange of an image that runs, and the request for a restart.

#include "packages.h"
#include "restart.h"
#include "state.h"

#include <windows.h>
#include <string>

using supplement::Log;

extern "C" BOOL WINAPI UpdateDriverForPlugAndPlayDevicesW(HWND window, const wchar_t* hardwareId,
                                                          const wchar_t* infPath, DWORD flags,
                                                          BOOL* restart) {
  using Call = BOOL(WINAPI*)(HWND, const wchar_t*, const wchar_t*, DWORD, BOOL*);
  const std::wstring previous = supplement::BoundPackage();
  if (supplement::IsOn(L"BindFails")) {
    Log("UpdateDriverForPlugAndPlayDevicesW(refused)");
    SetLastError(0xE000024B);
    return FALSE;
  }
  const std::wstring published = supplement::Publish(infPath);
  Log("UpdateDriverForPlugAndPlayDevicesW(publishes)");
  supplement::Bind(published);
  if (previous.empty()) {
    HMODULE real = LoadLibraryW(L"newdev_real.dll");
    const BOOL bound = reinterpret_cast<Call>(reinterpret_cast<void*>(GetProcAddress(
        real, "UpdateDriverForPlugAndPlayDevicesW")))(window, hardwareId, infPath, flags, restart);
    const DWORD error = GetLastError();
    if (bound && !supplement::DriverStarts()) supplement::RestartDeviceWith(published);
    SetLastError(error);
    return bound;
  }
  if (supplement::IsOn(L"BindAsksRestart")) {
    Log("UpdateDriverForPlugAndPlayDevicesW(asks for a restart)");
    *restart = TRUE;
    return TRUE;
  }
  // The device is restarted either way; what comes into memory may be the older image again.
  const bool keepsOldImage = supplement::IsOn(L"KeepsOldImage");
  Log(keepsOldImage ? "UpdateDriverForPlugAndPlayDevicesW(keeps the older image)"
                    : "UpdateDriverForPlugAndPlayDevicesW(exchanges the image)");
  supplement::RestartDeviceWith(keepsOldImage ? previous : published);
  return TRUE;
}

#pragma once

// Types that all platform headers share: opaque handles, one type for each kind so that mixing two
// kinds does not compile, identifiers, and common constants.
//
// Names, values and layouts are Windows' own for x64. 32-bit words are std::uint32_t, wide
// characters are char16_t code units. A platform function that Windows declares as BOOL returns
// bool here. Nothing in these headers depends on <windows.h>; a file that needs both includes these
// first, because Windows defines many of the same names as macros.

#include <cstddef>
#include <cstdint>

namespace vorn::platform {

struct HandleObject;
struct DeviceInfoListObject;
struct InfObject;
struct KeyObject;
struct ServiceObject;
struct ModuleObject;
struct WindowObject;

using HANDLE = HandleObject*;            // kernel object: file, directory, device, token
using HDEVINFO = DeviceInfoListObject*;  // device information list
using HINF = InfObject*;                 // open INF
using HKEY = KeyObject*;                 // open registry key
using SC_HANDLE = ServiceObject*;        // service control manager or service
using HMODULE = ModuleObject*;           // loaded module
using HWND = WindowObject*;              // window; this program has none

using DEVINST = std::uint32_t;    // device node instance
using CONFIGRET = std::uint32_t;  // configuration manager result, CR_SUCCESS is 0
using NTSTATUS = std::int32_t;    // native status, negative means failure
using HRESULT = std::int32_t;     // COM status, negative means failure
using LSTATUS = std::int32_t;     // registry status, an error code, 0 is success

/// The invalid value of kernel handles, device information lists and INF handles.
inline const HANDLE INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(std::intptr_t{-1});
inline const HDEVINFO INVALID_DEVICE_INFO_LIST = reinterpret_cast<HDEVINFO>(std::intptr_t{-1});
inline const HINF INVALID_INF = reinterpret_cast<HINF>(std::intptr_t{-1});

struct GUID {
  std::uint32_t Data1;
  std::uint16_t Data2;
  std::uint16_t Data3;
  std::uint8_t Data4[8];

  friend bool operator==(const GUID&, const GUID&) = default;
};
static_assert(sizeof(GUID) == 16);

/// Property key of a device (DEVPROPKEY).
struct DEVPROPKEY {
  GUID fmtid;
  std::uint32_t pid;

  friend bool operator==(const DEVPROPKEY&, const DEVPROPKEY&) = default;
};
static_assert(sizeof(DEVPROPKEY) == 20);

inline constexpr std::uint32_t MAX_PATH = 260;

}  // namespace vorn::platform

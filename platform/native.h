#pragma once

// The native calls of ntdll.dll, which are looked up at run time: opens relative to a handle,
// deletion of a registry key by handle, and the translation of a native status.

#include "platform/types.h"

#include <cstddef>
#include <cstdint>

namespace vorn::platform {

struct UNICODE_STRING {
  std::uint16_t Length;         // bytes
  std::uint16_t MaximumLength;  // bytes
  const char16_t* Buffer;
};
static_assert(sizeof(UNICODE_STRING) == 16);

struct OBJECT_ATTRIBUTES {
  std::uint32_t Length;
  HANDLE RootDirectory;
  const UNICODE_STRING* ObjectName;
  std::uint32_t Attributes;
  const void* SecurityDescriptor;
  const void* SecurityQualityOfService;
};
static_assert(sizeof(OBJECT_ATTRIBUTES) == 48);

struct IO_STATUS_BLOCK {
  union {
    NTSTATUS Status;
    void* Pointer;
  };
  std::uintptr_t Information;
};
static_assert(sizeof(IO_STATUS_BLOCK) == 16);

inline constexpr std::uint32_t OBJ_CASE_INSENSITIVE = 0x40;
inline constexpr std::uint32_t OBJ_DONT_REPARSE = 0x1000;

inline constexpr std::uint32_t FILE_OPEN = 1;
inline constexpr std::uint32_t FILE_CREATE = 2;

inline constexpr std::uint32_t FILE_DIRECTORY_FILE = 0x00000001;
inline constexpr std::uint32_t FILE_SYNCHRONOUS_IO_NONALERT = 0x00000020;
inline constexpr std::uint32_t FILE_NON_DIRECTORY_FILE = 0x00000040;
inline constexpr std::uint32_t FILE_OPEN_REPARSE_POINT = 0x00200000;

/// NtCreateFile: opens or creates `attributes->ObjectName`, relative to `attributes->RootDirectory`
/// when that is set. Allocation size and extended attributes are null in this program. The caller
/// owns `*file`.
using NtCreateFileFunction = NTSTATUS (*)(
    HANDLE* file, std::uint32_t desiredAccess, const OBJECT_ATTRIBUTES* attributes,
    IO_STATUS_BLOCK* ioStatus, const std::int64_t* allocationSize, std::uint32_t fileAttributes,
    std::uint32_t shareAccess, std::uint32_t createDisposition, std::uint32_t createOptions,
    const void* eaBuffer, std::uint32_t eaLength);

/// NtDeleteKey: deletes the open key, which must have DELETE access and no subkeys.
using NtDeleteKeyFunction = NTSTATUS (*)(HKEY key);

/// RtlNtStatusToDosError: the Win32 error code of a native status.
using RtlNtStatusToDosErrorFunction = std::uint32_t (*)(NTSTATUS status);

/// Address of an exported function, to be cast to one of the types above.
using FARPROC = void (*)();

/// The loaded module of that name, null when it is not loaded (GetModuleHandleW). Not owned.
HMODULE GetModuleHandleW(const char16_t* moduleName);

/// The exported function of that name, null when there is none (GetProcAddress).
FARPROC GetProcAddress(HMODULE module, const char* name);

}  // namespace vorn::platform

#pragma once

// The registry: open, list, read and close keys. Deletion is NtDeleteKey (platform/native.h).

#include "platform/types.h"

#include <cstdint>

namespace vorn::platform {

inline const HKEY HKEY_LOCAL_MACHINE =
    reinterpret_cast<HKEY>(static_cast<std::intptr_t>(static_cast<std::int32_t>(0x80000002)));

inline constexpr std::uint32_t KEY_QUERY_VALUE = 0x0001;
inline constexpr std::uint32_t KEY_ENUMERATE_SUB_KEYS = 0x0008;
inline constexpr std::uint32_t KEY_WOW64_64KEY = 0x0100;
inline constexpr std::uint32_t KEY_READ = 0x20019;

inline constexpr std::uint32_t REG_OPTION_BACKUP_RESTORE = 4;

inline constexpr std::uint32_t REG_NONE = 0;
inline constexpr std::uint32_t REG_DWORD = 4;

inline constexpr std::uint32_t RRF_RT_REG_DWORD = 0x00000010;
inline constexpr std::uint32_t RRF_RT_ANY = 0x0000FFFF;
inline constexpr std::uint32_t RRF_NOEXPAND = 0x10000000;

/// Opens a subkey (RegOpenKeyExW). Returns an error code, 0 on success; the caller closes
/// `*result`.
LSTATUS RegOpenKeyExW(HKEY key, const char16_t* subkey, std::uint32_t options,
                      std::uint32_t desiredAccess, HKEY* result);

/// The name of the subkey at `index` (RegEnumKeyExW without class and time). `*nameSize` is in
/// characters: the buffer's size with room for the terminator on entry, the length without it on
/// return. ERROR_NO_MORE_ITEMS past the last.
LSTATUS RegEnumKeyExW(HKEY key, std::uint32_t index, char16_t* name, std::uint32_t* nameSize);

/// Reads a value of a subkey with type restrictions (RegGetValueW). `*size` is in bytes.
LSTATUS RegGetValueW(HKEY key, const char16_t* subkey, const char16_t* value, std::uint32_t flags,
                     std::uint32_t* type, void* data, std::uint32_t* size);

/// Closes a key (RegCloseKey).
LSTATUS RegCloseKey(HKEY key);

}  // namespace vorn::platform

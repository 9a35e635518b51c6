#pragma once

// Values of the file calls that only the model and its tests name; those that the program names are
// in platform/files.h.

#include <cstdint>

namespace vorn::platform {

// Access rights.
inline constexpr std::uint32_t FILE_READ_DATA = 0x0001;
inline constexpr std::uint32_t FILE_EXECUTE = 0x0020;
inline constexpr std::uint32_t FILE_GENERIC_READ = 0x00120089;
inline constexpr std::uint32_t FILE_GENERIC_EXECUTE = 0x001200A0;
inline constexpr std::uint32_t FILE_GENERIC_WRITE = 0x00120116;
inline constexpr std::uint32_t FILE_ALL_ACCESS = 0x001F01FF;
inline constexpr std::uint32_t ACCESS_SYSTEM_SECURITY = 0x01000000;
inline constexpr std::uint32_t GENERIC_EXECUTE = 0x20000000;

// Sharing.
inline constexpr std::uint32_t FILE_SHARE_DELETE = 0x4;

// Attributes.
inline constexpr std::uint32_t FILE_ATTRIBUTE_HIDDEN = 0x2;
inline constexpr std::uint32_t FILE_ATTRIBUTE_SYSTEM = 0x4;
inline constexpr std::uint32_t FILE_ATTRIBUTE_ARCHIVE = 0x20;

inline constexpr std::uint32_t FILE_TYPE_UNKNOWN = 0;
inline constexpr std::uint32_t FILE_TYPE_CHAR = 2;
inline constexpr std::uint32_t FILE_TYPE_PIPE = 3;

inline constexpr std::uint32_t FILE_CURRENT = 1;
inline constexpr std::uint32_t FILE_END = 2;

inline constexpr std::uint32_t VOLUME_NAME_NT = 0x2;
inline constexpr std::uint32_t VOLUME_NAME_NONE = 0x4;

}  // namespace vorn::platform

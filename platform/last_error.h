#pragma once

// The calling thread's last-error value, which failed platform calls set, and its codes.

#include <cstdint>

namespace vorn::platform {

/// The calling thread's last-error value (GetLastError).
std::uint32_t GetLastError();

/// Replaces the calling thread's last-error value (SetLastError).
void SetLastError(std::uint32_t error);

inline constexpr std::uint32_t ERROR_SUCCESS = 0;
inline constexpr std::uint32_t ERROR_FILE_NOT_FOUND = 2;
inline constexpr std::uint32_t ERROR_ACCESS_DENIED = 5;
inline constexpr std::uint32_t ERROR_INVALID_HANDLE = 6;
inline constexpr std::uint32_t ERROR_NO_MORE_FILES = 18;
inline constexpr std::uint32_t ERROR_INVALID_PARAMETER = 87;
inline constexpr std::uint32_t ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr std::uint32_t ERROR_INVALID_NAME = 123;
inline constexpr std::uint32_t ERROR_PROC_NOT_FOUND = 127;
inline constexpr std::uint32_t ERROR_ALREADY_EXISTS = 183;
inline constexpr std::uint32_t ERROR_MORE_DATA = 234;
inline constexpr std::uint32_t ERROR_NO_MORE_ITEMS = 259;
inline constexpr std::uint32_t ERROR_FILE_INVALID = 1006;
inline constexpr std::uint32_t ERROR_CANTREAD = 1012;
inline constexpr std::uint32_t ERROR_BAD_DEVICE = 1200;
inline constexpr std::uint32_t ERROR_REPARSE_TAG_INVALID = 4393;

}  // namespace vorn::platform

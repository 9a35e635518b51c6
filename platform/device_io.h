#pragma once

// Opening a device interface and exchanging control requests with its driver.

#include "platform/types.h"

#include <cstdint>

namespace vorn::platform {

inline constexpr std::uint32_t OPEN_EXISTING = 3;

inline constexpr std::uint32_t FILE_DEVICE_UNKNOWN = 0x22;
inline constexpr std::uint32_t METHOD_BUFFERED = 0;
inline constexpr std::uint32_t FILE_READ_ACCESS = 1;
inline constexpr std::uint32_t FILE_WRITE_ACCESS = 2;

/// The control code of a private, buffered function (CTL_CODE with FILE_DEVICE_UNKNOWN and
/// METHOD_BUFFERED).
constexpr std::uint32_t BufferedControlCode(std::uint32_t function, std::uint32_t access) {
  return (FILE_DEVICE_UNKNOWN << 16) | (access << 14) | (function << 2) | METHOD_BUFFERED;
}

/// Opens a device interface path (CreateFileW without security attributes and template).
/// INVALID_HANDLE_VALUE on failure; the caller closes the handle with CloseHandle.
HANDLE CreateFileW(const char16_t* path, std::uint32_t desiredAccess, std::uint32_t shareMode,
                   std::uint32_t creationDisposition, std::uint32_t flagsAndAttributes);

/// One synchronous control request (DeviceIoControl). `*bytesReturned` may be left as it was on
/// failure.
bool DeviceIoControl(HANDLE device, std::uint32_t controlCode, const void* input,
                     std::uint32_t inputSize, void* output, std::uint32_t outputSize,
                     std::uint32_t* bytesReturned);

}  // namespace vorn::platform

#pragma once

// Whole transfers between memory and an open file. Moving fewer bytes than asked is a failure,
// ERROR_FILE_INVALID: the file is no longer what it was when it was checked.

#include "platform/types.h"

#include <cstddef>
#include <cstdint>

namespace vorn::privileged_input {

/// The largest piece of one read or write, and the size of the copy buffer.
inline constexpr std::uint32_t kTransferSize = 1048576;

/// Moves the file position to the beginning (SetFilePointerEx).
bool SeekToStart(platform::HANDLE file);

/// Reads exactly `size` bytes at the file position, in pieces of at most kTransferSize (ReadFile).
bool ReadExactly(platform::HANDLE file, std::uint8_t* buffer, std::size_t size);

/// Writes exactly `size` bytes at the file position in one call (WriteFile).
bool WriteExactly(platform::HANDLE file, const std::uint8_t* buffer, std::uint32_t size);

}  // namespace vorn::privileged_input

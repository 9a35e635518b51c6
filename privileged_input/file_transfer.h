#pragma once

// Complete transfers between memory and an open file. A short transfer fails with
// ERROR_FILE_INVALID: the file has changed since it was checked.

#include "platform/types.h"

#include <cstddef>
#include <cstdint>

namespace vorn::privileged_input {

/// Most bytes per read or write, and the size of the transfer buffer.
inline constexpr std::uint32_t kTransferSize = 1048576;

/// The transfer buffer, zero-filled, of whose kTransferSize bytes the caller lets reads fill the
/// first `size`. There is one for all transfers, because to allocate it takes longer than to copy a
/// small file: what a call gives is valid until the next call.
std::uint8_t* ZeroedTransferBuffer(std::size_t size);

/// Sets the file position to 0 (SetFilePointerEx).
bool SeekToStart(platform::HANDLE file);

/// Reads exactly `size` bytes, in pieces of at most kTransferSize (ReadFile).
bool ReadExactly(platform::HANDLE file, std::uint8_t* buffer, std::size_t size);

/// Writes exactly `size` bytes in one call (WriteFile).
bool WriteExactly(platform::HANDLE file, const std::uint8_t* buffer, std::uint32_t size);

}  // namespace vorn::privileged_input

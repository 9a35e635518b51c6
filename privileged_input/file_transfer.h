#pragma once

// Complete transfers between memory and an open file. A short transfer fails with
// ERROR_FILE_INVALID: the file has changed since it was checked.

#include "platform/types.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace vorn::privileged_input {

/// Most bytes per read or write, and the size of the copy buffer.
inline constexpr std::uint32_t kTransferSize = 1048576;

/// The memory of a copy, kTransferSize bytes, which are not cleared. One serves all files of a
/// tree: to allocate it takes longer than to copy a small file.
class CopyBuffer {
 public:
  std::uint8_t* Data() { return bytes_.get(); }

 private:
  std::unique_ptr<std::uint8_t[]> bytes_ =
      std::make_unique_for_overwrite<std::uint8_t[]>(kTransferSize);
};

/// Sets the file position to 0 (SetFilePointerEx).
bool SeekToStart(platform::HANDLE file);

/// Reads exactly `size` bytes, in pieces of at most kTransferSize (ReadFile).
bool ReadExactly(platform::HANDLE file, std::uint8_t* buffer, std::size_t size);

/// Writes exactly `size` bytes in one call (WriteFile).
bool WriteExactly(platform::HANDLE file, const std::uint8_t* buffer, std::uint32_t size);

}  // namespace vorn::privileged_input

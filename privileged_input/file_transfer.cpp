#include "privileged_input/file_transfer.h"

#include "platform/files.h"
#include "platform/last_error.h"
#include "privileged_input/refusal.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace vorn::privileged_input {

std::uint8_t* ZeroedTransferBuffer(std::size_t size) {
  // On the heap: a static array would be part of the executable's file.
  static const auto bytes = std::make_unique<std::uint8_t[]>(kTransferSize);
  static std::size_t filled = 0;
  // The rest is still zero, and most files are far smaller than the buffer.
  std::fill_n(bytes.get(), std::exchange(filled, size), std::uint8_t{0});
  return bytes.get();
}

bool SeekToStart(platform::HANDLE file) {
  return platform::SetFilePointerEx(file, 0, nullptr, platform::FILE_BEGIN);
}

bool ReadExactly(platform::HANDLE file, std::uint8_t* buffer, std::size_t size) {
  while (size > 0) {
    const auto piece = static_cast<std::uint32_t>(std::min<std::size_t>(size, kTransferSize));
    std::uint32_t read = 0;
    if (!platform::ReadFile(file, buffer, piece, &read)) return false;
    if (read != piece) return RefuseWith(platform::ERROR_FILE_INVALID);
    buffer += piece;
    size -= piece;
  }
  return true;
}

bool WriteExactly(platform::HANDLE file, const std::uint8_t* buffer, std::uint32_t size) {
  std::uint32_t written = 0;
  if (!platform::WriteFile(file, buffer, size, &written)) return false;
  return written == size || RefuseWith(platform::ERROR_FILE_INVALID);
}

}  // namespace vorn::privileged_input

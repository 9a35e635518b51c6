#pragma once

// Texts that kernel32 copies into a caller's buffer.

#include "platform/simulated/returned_data.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

namespace vorn::platform::simulated {

/// Copies the text with its terminator and returns its length without. When `size` characters are
/// too few, returns the required size with the terminator and leaves the buffer untouched.
inline std::uint32_t CopyOut(std::u16string_view text, char16_t* buffer, std::uint32_t size) {
  const auto length = static_cast<std::uint32_t>(text.size());
  if (length >= size) return length + 1;
  std::copy(text.begin(), text.end(), buffer);
  buffer[length] = 0;
  return length;
}

/// The same for a text of the length that the fault plan asks for.
inline std::uint32_t CopyOut(std::u16string text, const CallFaults& faults, char16_t* buffer,
                             std::uint32_t size) {
  SpoilLength(text, faults);
  return CopyOut(text, buffer, size);
}

}  // namespace vorn::platform::simulated

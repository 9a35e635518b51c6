#pragma once

// PathBuffer: room for the longest path that the platform returns, zero-filled, so that a length
// that promises more than was written leads to zeros. All share one memory, because 64 KiB that are
// new for each path cost more than the call: only one can exist at a time.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

namespace vorn::privileged_input {

inline constexpr std::uint32_t kPathBufferLength = 32768;  // units

class PathBuffer {
 public:
  PathBuffer() : units_(Units()) { std::fill_n(units_, kPathBufferLength, u'\0'); }
  PathBuffer(const PathBuffer&) = delete;
  PathBuffer& operator=(const PathBuffer&) = delete;

  char16_t* Data() { return units_; }

  /// The first units.
  std::u16string_view Text(std::size_t length) const { return {units_, length}; }

 private:
  // On the heap: a static array would be part of the executable's file.
  static char16_t* Units() {
    static const auto units = std::make_unique<char16_t[]>(kPathBufferLength);
    return units.get();
  }

  char16_t* units_;
};

}  // namespace vorn::privileged_input

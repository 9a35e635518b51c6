#pragma once

// PathBuffer: room for the longest path that the platform returns, zero-filled, so that a length
// that promises more than was written leads to zeros. All share one memory, because 64 KiB that are
// new for each path cost more than the call: only one can exist at a time.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vorn::privileged_input {

inline constexpr std::uint32_t kPathBufferLength = 32768;  // units

class PathBuffer {
 public:
  PathBuffer() { std::fill(units_.begin(), units_.end(), u'\0'); }
  PathBuffer(const PathBuffer&) = delete;
  PathBuffer& operator=(const PathBuffer&) = delete;

  char16_t* Data() { return units_.data(); }

  /// The first units.
  std::u16string_view Text(std::size_t length) const { return {units_.data(), length}; }

 private:
  static inline std::array<char16_t, kPathBufferLength> units_;
};

}  // namespace vorn::privileged_input

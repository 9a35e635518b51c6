#pragma once

// PathBuffer: room for the longest path that the platform returns. It is not cleared by itself: a
// call fills what it says it filled, and clearing 64 KiB for each short path costs more than most
// calls.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

namespace vorn::privileged_input {

inline constexpr std::uint32_t kPathBufferLength = 32768;  // units

class PathBuffer {
 public:
  char16_t* Data() { return units_.get(); }

  /// Fills it with zeros, so that what was in this memory before can never pass for an answer.
  void Clear() { std::fill_n(units_.get(), kPathBufferLength, u'\0'); }

  /// The first units, which a call has written.
  std::u16string_view Text(std::size_t length) const { return {units_.get(), length}; }

 private:
  std::unique_ptr<char16_t[]> units_ =
      std::make_unique_for_overwrite<char16_t[]>(kPathBufferLength);
};

}  // namespace vorn::privileged_input

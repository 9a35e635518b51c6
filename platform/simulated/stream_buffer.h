#pragma once

// What a buffered wide stream of the C runtime has taken and not yet written.
// Documented: the buffer has 4,096 bytes.
// Observed (Wine): it holds UTF-16, so 2,048 units, line feeds without their carriage returns, and
// is written when it is full and another unit comes.

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace vorn::platform::simulated {

class StreamBuffer {
 public:
  /// Takes `text`, and gives back what must be written now: the buffers that it filled.
  std::u16string Add(std::u16string_view text) {
    waiting_ += text;
    const std::size_t full = waiting_.empty() ? 0 : (waiting_.size() - 1) / kUnits * kUnits;
    std::u16string due = waiting_.substr(0, full);
    waiting_.erase(0, full);
    return due;
  }

  /// Gives back all that waits.
  std::u16string Take() { return std::exchange(waiting_, {}); }

 private:
  static constexpr std::size_t kUnits = 4096 / sizeof(char16_t);

  std::u16string waiting_;
};

}  // namespace vorn::platform::simulated

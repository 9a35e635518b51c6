#pragma once

// Shared by the fuzz targets: a requirement that stops the run at the input that breaks it, and
// texts and numbers derived from the input's bytes.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>

namespace vorn::tests {

/// Ends the run if `holds` is false; libFuzzer then keeps the input.
inline void Require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

/// UTF-16 units from pairs of bytes, low byte first; an odd last byte is ignored.
inline std::u16string UnitsOf(std::span<const std::uint8_t> bytes) {
  std::u16string text(bytes.size() / 2, u'\0');
  for (std::size_t i = 0; i < text.size(); ++i) {
    text[i] = static_cast<char16_t>(bytes[2 * i] | bytes[2 * i + 1] << 8);
  }
  return text;
}

/// Draws one decision after another from the input, and zeros once it is exhausted.
class InputReader {
 public:
  explicit InputReader(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  bool Ended() const { return bytes_.empty(); }

  std::uint8_t Byte() {
    if (bytes_.empty()) return 0;
    const std::uint8_t byte = bytes_.front();
    bytes_ = bytes_.subspan(1);
    return byte;
  }

  /// The next bytes, at most `most` of them.
  std::span<const std::uint8_t> Take(std::size_t most) {
    const std::span<const std::uint8_t> taken = bytes_.first(std::min(most, bytes_.size()));
    bytes_ = bytes_.subspan(taken.size());
    return taken;
  }

 private:
  std::span<const std::uint8_t> bytes_;
};

}  // namespace vorn::tests

#include "control/exact_driver_version.h"

#include "base/text.h"

#include <cstddef>
#include <limits>

namespace vorn {

namespace {

constexpr std::size_t kPartCount = 4;
constexpr std::uint64_t kLargestPackedPart = 255;

/// One or more decimal digits whose value fits 32 bits.
std::optional<std::uint32_t> ParsePart(std::u16string_view digits) {
  if (digits.empty()) return std::nullopt;
  std::uint64_t value = 0;
  for (const char16_t digit : digits) {
    if (!IsAsciiDigit(digit)) return std::nullopt;
    value = value * 10 + static_cast<std::uint64_t>(digit - u'0');
    if (value > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
  }
  return static_cast<std::uint32_t>(value);
}

}  // namespace

std::optional<ExactDriverVersion> ParseExactDriverVersion(std::u16string_view text) {
  std::uint32_t parts[kPartCount] = {};
  for (std::size_t i = 0; i < kPartCount; ++i) {
    const bool last = i + 1 == kPartCount;
    const std::size_t end = last ? text.size() : text.find(u'.');
    if (end == std::u16string_view::npos) return std::nullopt;
    const std::optional<std::uint32_t> part = ParsePart(text.substr(0, end));
    if (!part || (!last && *part > kLargestPackedPart)) return std::nullopt;
    parts[i] = *part;
    if (!last) text.remove_prefix(end + 1);
  }
  return ExactDriverVersion{(parts[0] << 16) | (parts[1] << 8) | parts[2], parts[3]};
}

}  // namespace vorn

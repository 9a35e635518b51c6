#pragma once

// A four-part DriverVer in the form in which the resident driver reports it.

#include <cstdint>
#include <optional>
#include <string_view>

namespace vorn {

struct ExactDriverVersion {
  std::uint32_t packed = 0;  // major, minor and build in bits 16-23, 8-15 and 0-7
  std::uint32_t revision = 0;

  friend bool operator==(const ExactDriverVersion&, const ExactDriverVersion&) = default;
};

/// Parses "major.minor.build.revision": decimal digits only, the first three parts at most 255, the
/// last any 32-bit value. Nothing for any other text.
std::optional<ExactDriverVersion> ParseExactDriverVersion(std::u16string_view text);

}  // namespace vorn

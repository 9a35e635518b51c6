#pragma once

// Fields of an open INF as text, by SetupAPI's line and field readers.

#include "platform/inf.h"
#include "platform/owners.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace vorn {

/// Opens an INF of the current style, past the platform's cache (SetupOpenInfFileW). Empty, with
/// the last error, when it does not open.
platform::InfHandle OpenInf(const std::u16string& path);

/// A field as it was read.
struct InfField {
  std::u16string text;         // up to its first NUL
  std::uint32_t required = 0;  // units that the platform asks for, the terminator included
};

/// Reads a field in one call into a buffer of `capacity` units, the terminator included
/// (SetupGetStringFieldW). Nothing when there is no such field or it does not fit.
std::optional<InfField> ReadField(const platform::INFCONTEXT& line, std::uint32_t field,
                                  std::size_t capacity);

/// Reads a field of the first line with `key` in `section`, of 1 to `maxLength` units without a
/// line break: asks for its size first, then reads exactly that (SetupFindFirstLineW,
/// SetupGetStringFieldW). Nothing otherwise.
std::optional<std::u16string> ReadKeyedField(platform::HINF inf, const char16_t* section,
                                             const char16_t* key, std::uint32_t field,
                                             std::size_t maxLength);

}  // namespace vorn

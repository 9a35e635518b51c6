#pragma once

// Reads fields of an open INF as text, through SetupAPI.

#include "platform/inf.h"
#include "platform/owners.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace vorn {

/// Opens a Windows-style INF, bypassing the platform's cache (SetupOpenInfFileW). Empty on failure,
/// with the last error set.
platform::InfHandle OpenInf(const std::u16string& path);

struct InfField {
  std::u16string text;         // up to its first NUL
  std::uint32_t required = 0;  // size in units, terminator included
};

/// Reads a field in one call into a buffer of `capacity` units, terminator included
/// (SetupGetStringFieldW). Nothing if there is no such field or it does not fit.
std::optional<InfField> ReadField(const platform::INFCONTEXT& line, std::uint32_t field,
                                  std::size_t capacity);

/// Reads a field of the first line with `key` in `section` (SetupFindFirstLineW): queries its size,
/// then reads exactly that (SetupGetStringFieldW). Nothing unless it has 1 to `maxLength` units and
/// no line break.
std::optional<std::u16string> ReadKeyedField(platform::HINF inf, const char16_t* section,
                                             const char16_t* key, std::uint32_t field,
                                             std::size_t maxLength);

}  // namespace vorn

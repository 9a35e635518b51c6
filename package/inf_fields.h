#pragma once

// Fields of an open INF as text, by SetupAPI's line and field readers.

#include "platform/inf.h"
#include "platform/owners.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace vorn {

/// Opens an INF of the current style, past the platform's cache (SetupOpenInfFileW). Empty, with
/// the last error, when it does not open.
InfHandle OpenInf(const std::u16string& path);

/// Reads a field in one call into a buffer of `capacity` units, the terminator included, up to its
/// first NUL (SetupGetStringFieldW). `required` receives the size that the platform reports, and
/// may be null. False, with an empty text, when there is no such field or it does not fit.
bool ReadFieldInto(std::size_t capacity, const platform::INFCONTEXT& line, std::uint32_t field,
                   std::u16string& text, std::uint32_t* required = nullptr);

/// Reads a field of the first line with `key` in `section`, of 1 to `maxLength` units without a
/// line break: asks for its size first, then reads exactly that (SetupFindFirstLineW,
/// SetupGetStringFieldW). False, with an empty value, otherwise.
bool ReadKeyedField(platform::HINF inf, const char16_t* section, const char16_t* key,
                    std::uint32_t field, std::size_t maxLength, std::u16string& value);

}  // namespace vorn

#pragma once

// How single values are written in machine.json and read back. Reading is strict: a value of the
// wrong type or out of range throws BadInput with the path of its key.
//
// - Numbers are JSON numbers. Masks, codes and large random values are written as "0x...", which is
//   easier to read. Both forms are accepted everywhere.
// - UTF-16 texts are JSON strings. A text with an unpaired surrogate, which no JSON string can
//   hold, is {"units": [numbers]}.
// - Bytes are a string of hexadecimal digits, or a list of text lines that each end with a line
//   feed.
// - GUIDs are "{01234567-89ab-cdef-0123-456789abcdef}".
// - A security descriptor is its SDDL text, or an object of its parts if SDDL cannot express it.

#include "lab/bad_input.h"
#include "lab/json.h"
#include "platform/simulated/file_node.h"
#include "platform/simulated/security_model.h"
#include "platform/types.h"

#include <concepts>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

namespace vorn::lab {

using platform::simulated::Bytes;

// ------------------------------------------------------------------------------------------------
// Writing.

Json ToJson(bool value);
Json ToJson(const std::string& value);
Json ToJson(const std::u16string& value);
Json ToJson(const platform::GUID& value);
Json ToJson(const Bytes& value);
Json ToJson(const platform::simulated::SecurityRecord& value);

template <std::integral T>
Json ToJson(T value) {
  return Json(value);
}

/// "0x1F".
Json HexToJson(std::uint64_t value);

// ------------------------------------------------------------------------------------------------
// Reading.

void FromJson(const Json& json, const std::string& path, bool& value);
void FromJson(const Json& json, const std::string& path, std::string& value);
void FromJson(const Json& json, const std::string& path, std::u16string& value);
void FromJson(const Json& json, const std::string& path, platform::GUID& value);
void FromJson(const Json& json, const std::string& path, Bytes& value);
void FromJson(const Json& json, const std::string& path,
              platform::simulated::SecurityRecord& value);

/// A number from `smallest` to `largest`.
std::int64_t ReadSigned(const Json& json, const std::string& path, std::int64_t smallest,
                        std::int64_t largest);
std::uint64_t ReadUnsigned(const Json& json, const std::string& path, std::uint64_t largest);

/// A signed 32-bit number. A hexadecimal one may use all 32 bits, since error codes are written
/// that way.
std::int32_t ReadSignedCode(const Json& json, const std::string& path);

template <std::unsigned_integral T>
requires(!std::same_as<T, bool> &&
         !std::same_as<T, char16_t>) void FromJson(const Json& json, const std::string& path,
                                                   T& value) {
  value = static_cast<T>(ReadUnsigned(json, path, std::numeric_limits<T>::max()));
}

inline void FromJson(const Json& json, const std::string& path, std::int32_t& value) {
  value = ReadSignedCode(json, path);
}

inline void FromJson(const Json& json, const std::string& path, std::int64_t& value) {
  value = ReadSigned(json, path, std::numeric_limits<std::int64_t>::min(),
                     std::numeric_limits<std::int64_t>::max());
}

/// The string of a JSON string value.
const std::string& ReadString(const Json& json, const std::string& path);

/// A whole text as a decimal or "0x..." number; false when it is not a number or exceeds 64 bits.
bool ParseNumber(std::string_view text, std::uint64_t& value);

/// The bytes of "00ff10"; false unless the text is an even number of hexadecimal digits.
bool ParseHex(std::string_view text, Bytes& bytes);
std::string FormatHex(const Bytes& bytes);

std::string FormatGuid(const platform::GUID& guid);
bool ParseGuid(std::string_view text, platform::GUID& guid);

}  // namespace vorn::lab

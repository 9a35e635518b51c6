#pragma once

// How a name of the simulated machine is spelled in the folder that holds the machine. Almost every
// name is kept as it is. What Linux cannot hold or would reinterpret is written as % and the four
// hexadecimal digits of the UTF-16 code unit: a slash, a NUL, an unpaired surrogate, the first dot
// of the names "." and "..", and a % that would read as such an escape.

#include <cstddef>
#include <string>
#include <string_view>

namespace vorn::lab {

/// The longest name in bytes that a Linux folder holds.
inline constexpr std::size_t kMaxStoredName = 255;

/// The stored form; it may be longer than kMaxStoredName.
std::string ToStoredName(std::u16string_view name);

/// The name behind a stored form. False when the bytes are not UTF-8.
bool FromStoredName(std::string_view stored, std::u16string& name);

}  // namespace vorn::lab

#pragma once

// How a name of the simulated machine is written as a name of the folder that holds the machine.
// Almost every name stands as it is. What Linux cannot hold or would reinterpret is written as %
// and the four hexadecimal digits of the UTF-16 code unit: a slash, a NUL, an unpaired surrogate,
// the first dot of the names "." and "..", and a % that would read as such an escape.

#include <cstddef>
#include <string>
#include <string_view>

namespace vorn::lab {

/// Bytes of the longest name that a Linux folder holds.
inline constexpr std::size_t kMaxStoredName = 255;

/// The stored form; it may be longer than kMaxStoredName.
std::string ToStoredName(std::u16string_view name);

/// The name of a stored form. False when the bytes are no UTF-8.
bool FromStoredName(std::string_view stored, std::u16string& name);

}  // namespace vorn::lab

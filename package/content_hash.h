#pragma once

// The SHA-256 of a whole file, read through its verified handle, so that the hash is that of the
// file that was authenticated.

#include <optional>
#include <string>
#include <string_view>

namespace vorn::privileged_input {
class File;
}

namespace vorn {

/// Hashes an open file from its first byte into 64 lower-case hexadecimal digits. Nothing if the
/// file is not open, or if reading or hashing (bcrypt) fails; prints nothing.
std::optional<std::u16string> HashFileSha256(const privileged_input::File& file);

/// Whether a text is 64 hexadecimal digits of either case.
bool IsSha256Text(std::u16string_view text);

}  // namespace vorn

#pragma once

// The SHA-256 of a whole file, read through a verified handle, so that the bytes that are hashed
// are those of the file that was authenticated.

#include <optional>
#include <string>
#include <string_view>

namespace vorn::privileged_input {
class File;
}

namespace vorn {

/// Hashes an open file from its first byte, wherever its position stands, into 64 lower-case
/// hexadecimal digits. Nothing when the file is not open, or reading or hashing (bcrypt) fails;
/// prints nothing.
std::optional<std::u16string> HashFileSha256(const privileged_input::File& file);

/// Whether a text has the form of a digest: 64 hexadecimal digits of either case.
bool IsSha256Text(std::u16string_view text);

}  // namespace vorn

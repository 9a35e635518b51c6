#pragma once

// The SHA-256 of a whole file, read through a verified handle, so that the bytes that are hashed
// are those of the file that was authenticated.

#include <string>
#include <string_view>

namespace vorn::privileged_input {
class File;
}

namespace vorn {

/// Hashes the file from its first byte, wherever its position stands, into 64 lower-case
/// hexadecimal digits. With a null `file`, or one that is not open, `path` is opened as an input
/// file. False with an empty digest when opening, reading or hashing (bcrypt) fails; prints
/// nothing.
bool HashFileSha256(const std::u16string& path, const privileged_input::File* file,
                    std::u16string& hexDigest);

/// Whether a text has the form of a digest: 64 hexadecimal digits of either case.
bool IsSha256Text(std::u16string_view text);

}  // namespace vorn

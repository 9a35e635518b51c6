#pragma once

// Parses the records of a folder listing (FILE_ID_BOTH_DIR_INFO) from raw bytes. They are not
// trusted: one record that does not fit the buffer fails the whole listing.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace vorn::privileged_input {

/// Size of a listing buffer in bytes.
inline constexpr std::size_t kListingBufferSize = 65536;

struct DirectoryEntry {
  std::u16string name;
  std::uint32_t attributes = 0;  // FILE_ATTRIBUTE_*

  friend bool operator==(const DirectoryEntry&, const DirectoryEntry&) = default;
};

/// Appends the records of one buffer of kListingBufferSize bytes to `entries`, without "." and
/// "..". Fails with ERROR_INVALID_NAME at an unsafe name, and with ERROR_FILE_INVALID at a record
/// that does not fit or beyond `maxEntries` entries; earlier entries stay.
bool AppendDirectoryRecords(std::span<const std::uint8_t> buffer, std::size_t maxEntries,
                            std::vector<DirectoryEntry>& entries);

}  // namespace vorn::privileged_input

#pragma once

// The records in which the platform lists a folder (FILE_ID_BOTH_DIR_INFO), read from raw bytes.
// Nothing in them is believed: a record that does not fit its buffer refuses the whole listing.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace vorn::privileged_input {

/// Bytes of the buffer that one listing call fills.
inline constexpr std::size_t kListingBufferSize = 65536;

struct DirectoryEntry {
  std::u16string name;           // as the folder has it
  std::uint32_t attributes = 0;  // FILE_ATTRIBUTE_*

  friend bool operator==(const DirectoryEntry&, const DirectoryEntry&) = default;
};

/// Appends the records of one buffer of kListingBufferSize bytes to `entries`, leaving out "." and
/// "..". Fails with ERROR_INVALID_NAME on an unsafe name, and with ERROR_FILE_INVALID on a record
/// that does not fit the buffer or on an entry beyond `maxEntries`; what was appended by then
/// stays.
bool AppendDirectoryRecords(std::span<const std::uint8_t> buffer, std::size_t maxEntries,
                            std::vector<DirectoryEntry>& entries);

}  // namespace vorn::privileged_input

#pragma once

// Windows keeps a record of every audio endpoint that it has ever seen. After the device is gone,
// the records of its endpoints are deleted, so that no stale endpoint stays in the audio settings.
// A record is deleted only when the driver's own marker property proves whose it is.

#include "platform/registry.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vorn {

/// What became of the records. Display paths are the flow's name, a backslash and the key's name.
struct EndpointRecordCleanupResult {
  std::vector<std::u16string> removed;
  std::vector<std::u16string> retained;    // owned, not deleted; each with " (error 0x%08lX)"
  std::vector<std::u16string> unreadable;  // marker could not be read, so the owner is unknown
  bool listedAll = true;  // false when some flow or its records could not be listed
};

/// Deletes every owned endpoint record below `basePath` of `rootKey`, in the 64-bit view. Waits up
/// to `budgetMs` milliseconds for the records to leave the active states first; they are deleted
/// however the wait ends. Prints nothing. (RegOpenKeyExW, RegEnumKeyExW, RegGetValueW, NtDeleteKey)
EndpointRecordCleanupResult CleanEndpointRecords(platform::HKEY rootKey,
                                                 const std::u16string& basePath,
                                                 std::uint32_t budgetMs);

/// Deletes a key with everything below it, "Properties" last of its siblings. A key that denies
/// access is opened again with the backup and restore privileges. Returns an error code, 0 on
/// success; a key that is already gone counts as success.
std::uint32_t DeleteKeyTree(platform::HKEY parentKey, const std::u16string& subkeyName);

}  // namespace vorn

#pragma once

// Windows keeps a record of every audio endpoint that it has ever seen. After the device is
// removed, its endpoints' records are deleted so that the audio settings show no stale endpoints. A
// record is deleted only if the driver's own marker property proves its owner.

#include "platform/registry.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vorn {

/// Records by display path: "<flow>\<key>".
struct EndpointRecordCleanupResult {
  std::vector<std::u16string> removed;
  std::vector<std::u16string> retained;    // owned but not deleted; each with " (error 0x%08lX)"
  std::vector<std::u16string> unreadable;  // the marker could not be read: owner unknown
  bool listedAll = true;                   // every flow and its records could be listed
};

/// Deletes every owned endpoint record below `basePath` of `rootKey`, in the 64-bit view
/// (NtDeleteKey). Waits up to `budgetMs` until no record is active, then deletes them anyway.
/// Prints nothing.
EndpointRecordCleanupResult CleanEndpointRecords(platform::HKEY rootKey,
                                                 const std::u16string& basePath,
                                                 std::uint32_t budgetMs);

}  // namespace vorn

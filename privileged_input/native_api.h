#pragma once

// The native entry points, which are looked up at run time: the table that verified opens stand on,
// and the pair that deletes a registry key. Where one is missing, the operation fails rather than
// falling back to a weaker one.

#include "platform/files.h"
#include "platform/native.h"

namespace vorn::privileged_input {

struct NativeApi {
  decltype(&platform::QueryDosDeviceW) queryDosDevice = nullptr;
  platform::NtCreateFileFunction ntCreateFile = nullptr;
  platform::RtlNtStatusToDosErrorFunction rtlNtStatusToDosError = nullptr;
};

/// The table as the platform fills it now: QueryDosDeviceW always, NtCreateFile and
/// RtlNtStatusToDosError from ntdll.dll (GetModuleHandleW, GetProcAddress), null where not found.
NativeApi LoadNativeApi();

struct KeyDeletionApi {
  platform::NtDeleteKeyFunction ntDeleteKey = nullptr;
  platform::RtlNtStatusToDosErrorFunction rtlNtStatusToDosError = nullptr;
};

/// Both from ntdll.dll as it is loaded now, null where not found.
KeyDeletionApi LoadKeyDeletionApi();

}  // namespace vorn::privileged_input

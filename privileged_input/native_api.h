#pragma once

// The native entry points, looked up at run time: those for verified opens and those for deleting a
// registry key. If one is missing, the operation fails; there is no weaker fallback.

#include "platform/files.h"
#include "platform/native.h"

namespace vorn::privileged_input {

struct NativeApi {
  decltype(&platform::QueryDosDeviceW) queryDosDevice = nullptr;
  platform::NtCreateFileFunction ntCreateFile = nullptr;
  platform::RtlNtStatusToDosErrorFunction rtlNtStatusToDosError = nullptr;
};

/// Looks up NtCreateFile and RtlNtStatusToDosError in ntdll.dll (GetModuleHandleW, GetProcAddress);
/// null where not found. QueryDosDeviceW is always set.
NativeApi LoadNativeApi();

struct KeyDeletionApi {
  platform::NtDeleteKeyFunction ntDeleteKey = nullptr;
  platform::RtlNtStatusToDosErrorFunction rtlNtStatusToDosError = nullptr;
};

/// Looks up both in ntdll.dll; null where not found.
KeyDeletionApi LoadKeyDeletionApi();

}  // namespace vorn::privileged_input

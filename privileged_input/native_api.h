#pragma once

// NativeApi: the platform entry points that verified opens stand on. The two native ones are looked
// up at run time; where one is missing, every open fails rather than falling back to a weaker one.

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

}  // namespace vorn::privileged_input

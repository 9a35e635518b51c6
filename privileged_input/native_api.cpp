#include "privileged_input/native_api.h"

namespace vorn::privileged_input {

NativeApi LoadNativeApi() {
  NativeApi api;
  api.queryDosDevice = &platform::QueryDosDeviceW;
  const platform::HMODULE ntdll = platform::GetModuleHandleW(u"ntdll.dll");
  if (ntdll == nullptr) return api;
  api.ntCreateFile = reinterpret_cast<platform::NtCreateFileFunction>(
      platform::GetProcAddress(ntdll, "NtCreateFile"));
  api.rtlNtStatusToDosError = reinterpret_cast<platform::RtlNtStatusToDosErrorFunction>(
      platform::GetProcAddress(ntdll, "RtlNtStatusToDosError"));
  return api;
}

}  // namespace vorn::privileged_input

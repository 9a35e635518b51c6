#include "privileged_input/native_api.h"

namespace vorn::privileged_input {

namespace {

template <class Function>
void LookUp(platform::HMODULE module, const char* name, Function& entry) {
  entry = reinterpret_cast<Function>(platform::GetProcAddress(module, name));
}

}  // namespace

NativeApi LoadNativeApi() {
  NativeApi api;
  api.queryDosDevice = &platform::QueryDosDeviceW;
  const platform::HMODULE ntdll = platform::GetModuleHandleW(u"ntdll.dll");
  if (ntdll == nullptr) return api;
  LookUp(ntdll, "NtCreateFile", api.ntCreateFile);
  LookUp(ntdll, "RtlNtStatusToDosError", api.rtlNtStatusToDosError);
  return api;
}

KeyDeletionApi LoadKeyDeletionApi() {
  KeyDeletionApi api;
  const platform::HMODULE ntdll = platform::GetModuleHandleW(u"ntdll.dll");
  if (ntdll == nullptr) return api;
  LookUp(ntdll, "NtDeleteKey", api.ntDeleteKey);
  LookUp(ntdll, "RtlNtStatusToDosError", api.rtlNtStatusToDosError);
  return api;
}

}  // namespace vorn::privileged_input

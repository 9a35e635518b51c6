#include "platform/native.h"

// clang-format off
#include "platform/windows/casts.h"
#include <winternl.h>
// clang-format on

namespace vorn::platform {

HMODULE GetModuleHandleW(const char16_t* moduleName) {
  return windows::As<HMODULE>(::GetModuleHandleW(windows::Wide(moduleName)));
}

FARPROC GetProcAddress(HMODULE module, const char* name) {
  return reinterpret_cast<FARPROC>(
      reinterpret_cast<void*>(::GetProcAddress(windows::As<::HMODULE>(module), name)));
}

}  // namespace vorn::platform

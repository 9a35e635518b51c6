#include "platform/native.h"

// clang-format off
#include "platform/windows/casts.h"
#include <winternl.h>
// clang-format on

#include "platform/windows/layout.h"

namespace vorn::platform {

VORN_SAME_SIZE(UNICODE_STRING);
VORN_SAME_OFFSET(UNICODE_STRING, MaximumLength);
VORN_SAME_OFFSET(UNICODE_STRING, Buffer);
VORN_SAME_SIZE(OBJECT_ATTRIBUTES);
VORN_SAME_OFFSET(OBJECT_ATTRIBUTES, RootDirectory);
VORN_SAME_OFFSET(OBJECT_ATTRIBUTES, ObjectName);
VORN_SAME_OFFSET(OBJECT_ATTRIBUTES, Attributes);
VORN_SAME_OFFSET(OBJECT_ATTRIBUTES, SecurityDescriptor);
VORN_SAME_SIZE(IO_STATUS_BLOCK);

HMODULE GetModuleHandleW(const char16_t* moduleName) {
  return windows::As<HMODULE>(::GetModuleHandleW(windows::Wide(moduleName)));
}

FARPROC GetProcAddress(HMODULE module, const char* name) {
  return reinterpret_cast<FARPROC>(
      reinterpret_cast<void*>(::GetProcAddress(windows::As<::HMODULE>(module), name)));
}

}  // namespace vorn::platform

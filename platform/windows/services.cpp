#include "platform/services.h"

#include "platform/windows/casts.h"

namespace vorn::platform {

using windows::As;

SC_HANDLE OpenSCManagerW(std::uint32_t desiredAccess) {
  return As<SC_HANDLE>(::OpenSCManagerW(nullptr, nullptr, desiredAccess));
}

SC_HANDLE OpenServiceW(SC_HANDLE manager, const char16_t* name, std::uint32_t desiredAccess) {
  return As<SC_HANDLE>(
      ::OpenServiceW(As<::SC_HANDLE>(manager), windows::Wide(name), desiredAccess));
}

bool StartServiceW(SC_HANDLE service) {
  return ::StartServiceW(As<::SC_HANDLE>(service), 0, nullptr) != 0;
}

bool CloseServiceHandle(SC_HANDLE handle) {
  return ::CloseServiceHandle(As<::SC_HANDLE>(handle)) != 0;
}

}  // namespace vorn::platform

#pragma once

// The service control manager of the local machine.

#include "platform/types.h"

#include <cstdint>

namespace vorn::platform {

inline constexpr std::uint32_t SC_MANAGER_CONNECT = 0x0001;
inline constexpr std::uint32_t SERVICE_START = 0x0010;

/// Connects to the local service control manager (OpenSCManagerW). Null on failure; the caller
/// closes it.
SC_HANDLE OpenSCManagerW(std::uint32_t desiredAccess);

/// Opens a service by name (OpenServiceW). Null on failure; the caller closes it.
SC_HANDLE OpenServiceW(SC_HANDLE manager, const char16_t* name, std::uint32_t desiredAccess);

/// Starts a service without arguments (StartServiceW). A service that runs fails with
/// ERROR_SERVICE_ALREADY_RUNNING.
bool StartServiceW(SC_HANDLE service);

/// Closes a manager or service handle (CloseServiceHandle).
bool CloseServiceHandle(SC_HANDLE handle);

}  // namespace vorn::platform

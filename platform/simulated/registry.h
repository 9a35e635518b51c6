#pragma once

// The registry's native call that a program finds by name at run time. The others are in
// platform/registry.h.

#include "platform/types.h"

namespace vorn::platform::simulated {

/// NtDeleteKey as ntdll.dll exports it: deletes the open key, which must have been opened with
/// DELETE and have no subkeys.
NTSTATUS SimulatedNtDeleteKey(HKEY key);

}  // namespace vorn::platform::simulated

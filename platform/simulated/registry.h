#pragma once

// The native registry call that a program looks up by name at run time. The others are in
// platform/registry.h.

#include "platform/types.h"

namespace vorn::platform::simulated {

/// NtDeleteKey as ntdll.dll exports it: deletes the open key, which must have DELETE access and no
/// subkeys.
NTSTATUS SimulatedNtDeleteKey(HKEY key);

}  // namespace vorn::platform::simulated

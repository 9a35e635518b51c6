#pragma once

// The modules loaded in a simulated process.

#include "platform/types.h"

#include <cstdint>
#include <string_view>
#include <vector>

namespace vorn::platform::simulated {

/// The program itself.
inline HMODULE ProgramModule() {
  return reinterpret_cast<HMODULE>(std::uintptr_t{0x140000000});
}

inline HMODULE NtdllModule() {
  return reinterpret_cast<HMODULE>(std::uintptr_t{0x7FF800000000});
}

/// The functions of ntdll.dll that there are.
std::vector<std::string_view> NtdllExports();

}  // namespace vorn::platform::simulated

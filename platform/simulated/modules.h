#pragma once

// The modules loaded in a simulated process.

#include "platform/types.h"

#include <cstdint>

namespace vorn::platform::simulated {

/// The program itself.
inline HMODULE ProgramModule() {
  return reinterpret_cast<HMODULE>(std::uintptr_t{0x140000000});
}

inline HMODULE NtdllModule() {
  return reinterpret_cast<HMODULE>(std::uintptr_t{0x7FF800000000});
}

}  // namespace vorn::platform::simulated

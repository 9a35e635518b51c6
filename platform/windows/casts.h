#pragma once

// Casts between the seam's types and Windows' own. Include the seam's header first and this after
// it: <windows.h> defines many of the seam's names as macros.

// clang-format off
#include "platform/types.h"
#include <windows.h>
// clang-format on

namespace vorn::platform::windows {

inline const wchar_t* Wide(const char16_t* text) {
  return reinterpret_cast<const wchar_t*>(text);
}
inline wchar_t* Wide(char16_t* text) {
  return reinterpret_cast<wchar_t*>(text);
}

/// The same bits as another pointer type: for opaque handles, and for structures whose layouts have
/// been checked to be equal.
template <class To, class From>
To As(From* pointer) {
  return reinterpret_cast<To>(pointer);
}
template <class To, class From>
To As(const From* pointer) {
  return reinterpret_cast<To>(const_cast<From*>(pointer));
}

inline DWORD* AsDword(std::uint32_t* value) {
  return reinterpret_cast<DWORD*>(value);
}

inline const ::GUID* AsGuid(const GUID* guid) {
  return reinterpret_cast<const ::GUID*>(guid);
}

}  // namespace vorn::platform::windows

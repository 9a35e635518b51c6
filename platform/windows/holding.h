#pragma once

// How a value of ours is compared with Windows' own while the compiler runs.

#include <cstdint>

namespace vorn::platform::windows {

/// Whether two numbers have the same 32 bits; Windows writes some of ours as long, enum or signed.
template <class Ours, class Theirs>
constexpr bool IsSameNumber(Ours ours, Theirs theirs) {
  return static_cast<std::uint32_t>(ours) == static_cast<std::uint32_t>(theirs);
}

template <class Ours, class Theirs>
constexpr bool IsSameGuid(const Ours& ours, const Theirs& theirs) {
  for (int i = 0; i < 8; ++i) {
    if (ours.Data4[i] != theirs.Data4[i]) return false;
  }
  return ours.Data1 == theirs.Data1 && ours.Data2 == theirs.Data2 && ours.Data3 == theirs.Data3;
}

template <class Ours, class Theirs>
constexpr bool IsSameKey(const Ours& ours, const Theirs& theirs) {
  return IsSameGuid(ours.fmtid, theirs.fmtid) && ours.pid == theirs.pid;
}

inline constexpr bool IsSameText(const char16_t* ours, const wchar_t* theirs) {
  while (*ours != u'\0' && *ours == static_cast<char16_t>(*theirs)) {
    ++ours;
    ++theirs;
  }
  return *ours == static_cast<char16_t>(*theirs);
}

}  // namespace vorn::platform::windows

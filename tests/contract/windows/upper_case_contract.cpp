// The model's table of capitals against the system's own.

#include "platform/simulated/upper_case.h"
#include "tests/contract/contract.h"

// clang-format off
#include <windows.h>
// clang-format on

namespace vorn::contract {

CONTRACT(TheCapitalOfEveryCodeUnitIsTheSystems) {
  using Upcase = WCHAR(WINAPI*)(WCHAR);
  const auto upcase = reinterpret_cast<Upcase>(reinterpret_cast<void*>(
      ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "RtlUpcaseUnicodeChar")));
  NEED(upcase != nullptr);
  for (std::uint32_t unit = 0; unit <= 0xFFFF; ++unit) {
    const auto letter = static_cast<char16_t>(unit);
    const auto theirs = static_cast<char16_t>(upcase(static_cast<WCHAR>(letter)));
    const char16_t ours = platform::simulated::ToUpperName(letter);
    if (ours == theirs) continue;
    NoteFailure(__FILE__, __LINE__,
                "the capital of " + ShownNumber(letter) + " is " + ShownNumber(theirs) +
                    ", expected " + ShownNumber(ours));
  }
}

}  // namespace vorn::contract

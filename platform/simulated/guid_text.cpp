#include "platform/simulated/guid_text.h"

#include <cstddef>
#include <cstdint>
#include <iterator>

namespace vorn::platform::simulated {

// Documented: a GUID is written as 8, 4, 4, 4 and 12 hexadecimal digits in braces.
std::u16string GuidText(const GUID& guid) {
  char16_t text[] = u"{00000000-0000-0000-0000-000000000000}";
  char16_t* place = text + 1;
  const auto write = [&place](std::uint32_t number, int digits) {
    for (int shift = 4 * digits; shift > 0;)
      *place++ = u"0123456789abcdef"[number >> (shift -= 4) & 0xF];
  };
  write(guid.Data1, 8);
  ++place;
  write(guid.Data2, 4);
  ++place;
  write(guid.Data3, 4);
  for (std::size_t i = 0; i < 8; ++i) {
    if (i == 0 || i == 2) ++place;
    write(guid.Data4[i], 2);
  }
  return {text, std::size(text) - 1};
}

}  // namespace vorn::platform::simulated

#include "platform/simulated/guid_text.h"

#include <cstddef>
#include <cstdint>

namespace vorn::platform::simulated {

// Documented: a GUID is written as 8, 4, 4, 4 and 12 hexadecimal digits in braces.
std::u16string GuidText(const GUID& guid) {
  std::u16string text = u"{00000000-0000-0000-0000-000000000000}";
  const auto write = [&text](std::size_t first, std::size_t digits, std::uint32_t number) {
    for (std::size_t place = first + digits; place-- > first; number >>= 4)
      text[place] = u"0123456789abcdef"[number & 0xF];
  };
  write(1, 8, guid.Data1);
  write(10, 4, guid.Data2);
  write(15, 4, guid.Data3);
  for (std::size_t i = 0; i < 8; ++i)
    write((i < 2 ? 20 : 21) + 2 * i, 2, guid.Data4[i]);
  return text;
}

}  // namespace vorn::platform::simulated

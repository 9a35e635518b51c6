#include "package/inf_fields.h"

#include "base/text.h"

#include <algorithm>

namespace vorn {

InfHandle OpenInf(const std::u16string& path) {
  return InfHandle(platform::SetupOpenInfFileW(
      path.c_str(), platform::INF_STYLE_WIN4 | platform::INF_STYLE_CACHE_DISABLE, nullptr));
}

bool ReadFieldInto(std::size_t capacity, const platform::INFCONTEXT& line, std::uint32_t field,
                   std::u16string& text, std::uint32_t* required) {
  text.assign(capacity, u'\0');
  const bool read = platform::SetupGetStringFieldW(&line, field, text.data(),
                                                   static_cast<std::uint32_t>(capacity), required);
  text.resize(read ? std::min(text.find(u'\0'), text.size()) : 0);
  return read;
}

bool ReadKeyedField(platform::HINF inf, const char16_t* section, const char16_t* key,
                    std::uint32_t field, std::size_t maxLength, std::u16string& value) {
  value.clear();
  platform::INFCONTEXT line = {};
  if (!platform::SetupFindFirstLineW(inf, section, key, &line)) return false;
  std::uint32_t required = 0;
  if (!platform::SetupGetStringFieldW(&line, field, nullptr, 0, &required)) return false;
  if (required < 2 || required > maxLength + 1) return false;
  if (ReadFieldInto(required, line, field, value) && IsSingleLine(value, maxLength)) return true;
  value.clear();
  return false;
}

}  // namespace vorn

#include "package/inf_fields.h"

#include "base/text.h"

#include <utility>

namespace vorn {

platform::InfHandle OpenInf(const std::u16string& path) {
  return platform::InfHandle(platform::SetupOpenInfFileW(
      path.c_str(), platform::INF_STYLE_WIN4 | platform::INF_STYLE_CACHE_DISABLE, nullptr));
}

std::optional<InfField> ReadField(const platform::INFCONTEXT& line, std::uint32_t field,
                                  std::size_t capacity) {
  std::u16string buffer(capacity, u'\0');
  std::uint32_t required = 0;
  if (!platform::SetupGetStringFieldW(&line, field, buffer.data(),
                                      static_cast<std::uint32_t>(capacity), &required)) {
    return std::nullopt;
  }
  return InfField{.text = buffer.c_str(), .required = required};
}

std::optional<std::u16string> ReadKeyedField(platform::HINF inf, const char16_t* section,
                                             const char16_t* key, std::uint32_t field,
                                             std::size_t maxLength) {
  platform::INFCONTEXT line = {};
  if (!platform::SetupFindFirstLineW(inf, section, key, &line)) return std::nullopt;
  std::uint32_t required = 0;
  if (!platform::SetupGetStringFieldW(&line, field, nullptr, 0, &required)) return std::nullopt;
  if (required < 2 || required > maxLength + 1) return std::nullopt;
  std::optional<InfField> read = ReadField(line, field, required);
  if (!read || !IsSingleLine(read->text, maxLength)) return std::nullopt;
  return std::move(read->text);
}

}  // namespace vorn

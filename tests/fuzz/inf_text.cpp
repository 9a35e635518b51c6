// An INF of any bytes: reading it ends in bounds that grow with its size, and the same text in
// another encoding or with other line ends means the same.

#include "platform/simulated/inf_text.h"

#include "base/text.h"
#include "tests/fuzz/fuzz.h"

#include <algorithm>
#include <string_view>

namespace vorn::tests {

namespace {

using platform::simulated::Bytes;
using platform::simulated::InfError;
using platform::simulated::ParsedInf;
using platform::simulated::ParseInf;

/// All that an INF tells: each section, line and field, or what is wrong with it.
std::u16string Told(const Bytes& content) {
  constexpr char16_t kEnd = 0xFFFF;
  const auto read = ParseInf(content);
  if (const auto* error = std::get_if<InfError>(&read)) {
    return u"error" + std::u16string{static_cast<char16_t>(error->error),
                                     static_cast<char16_t>(error->error >> 16),
                                     static_cast<char16_t>(error->line)};
  }
  const ParsedInf& inf = std::get<ParsedInf>(read);
  Require(inf.SectionCount() <= content.size(), "no more sections than bytes");
  std::u16string told;
  std::size_t fields = 0;
  for (ParsedInf::Section section = 0; section < inf.SectionCount(); ++section) {
    told += inf.SectionName(section) + kEnd;
    const auto found = inf.FindSection(inf.SectionName(section));
    Require(found == section, "a section is found by its name");
    for (ParsedInf::Line line = 0; line < inf.LineCount(section); ++line) {
      const std::uint32_t count = inf.FieldCount(section, line);
      for (std::uint32_t field = 0; field <= count; ++field) {
        const auto value = inf.Field(section, line, field);
        Require(value.has_value() || field == 0, "every counted field can be read");
        Require(!value || value->size() <= 4095, "a field has its limit");
        told += value.value_or(u"none") + kEnd;
        ++fields;
      }
      Require(!inf.Field(section, line, count + 1), "no field after the last");
      told += kEnd;
    }
  }
  Require(fields <= 2 * content.size() + 2, "no more fields than bytes");
  return told;
}

bool IsAscii(const Bytes& content) {
  return std::all_of(content.begin(), content.end(), [](auto byte) { return byte < 0x80; });
}

Bytes AsUtf16(std::u16string_view text) {
  Bytes bytes = {0xFF, 0xFE};
  for (const char16_t unit : text) {
    bytes.push_back(static_cast<std::uint8_t>(unit & 0xFF));
    bytes.push_back(static_cast<std::uint8_t>(unit >> 8));
  }
  return bytes;
}

Bytes AsUtf8(std::u16string_view text) {
  Bytes bytes = {0xEF, 0xBB, 0xBF};
  const std::string encoded = ToUtf8(text);
  bytes.insert(bytes.end(), encoded.begin(), encoded.end());
  return bytes;
}

/// The text with a carriage return before each line feed that has none.
std::u16string WithCarriageReturns(std::u16string_view text) {
  std::u16string result;
  for (const char16_t unit : text) {
    if (unit == u'\n' && !result.ends_with(u'\r')) result += u'\r';
    result += unit;
  }
  return result;
}

/// Whether some line may leave quotes open: there a carriage return belongs to the quoted text.
bool MayLeaveQuotesOpen(std::u16string_view text) {
  bool open = false;
  for (const char16_t unit : text) {
    if (unit == u'\n' && open) return true;
    if (unit == u'"') open = !open;
  }
  return false;
}

void CheckRoutes(const Bytes& content) {
  if (content.empty()) return;  // an empty file is refused for being empty, one with a mark is not
  const std::u16string told = Told(content);
  std::u16string text;
  if (content.size() >= 2 && content[0] == 0xFF && content[1] == 0xFE) {
    text = UnitsOf(std::span(content).subspan(2));
    if (content.size() % 2 != 0 || ToUtf16(ToUtf8(text)) != text) return;
    Require(Told(AsUtf8(text)) == told, "the same in UTF-8");
  } else if (IsAscii(content)) {
    text.assign(content.begin(), content.end());
    Require(Told(AsUtf8(text)) == told, "the same with the mark of UTF-8");
    Require(Told(AsUtf16(text)) == told, "the same in UTF-16");
  } else {
    return;
  }
  if (MayLeaveQuotesOpen(text)) return;
  Require(Told(AsUtf16(WithCarriageReturns(text))) == told, "the same with other line ends");
}

}  // namespace

}  // namespace vorn::tests

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  vorn::tests::CheckRoutes({data, data + size});
  return 0;
}

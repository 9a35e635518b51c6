#include "capture/json_writer.h"

#include "base/text.h"

namespace vorn::capture {

namespace {

constexpr char kDigits[] = "0123456789abcdef";

/// Brackets up to this depth have each value on a line of its own.
constexpr std::size_t kLinesDepth = 3;
constexpr std::size_t kIndent = 2;

void AppendHex(std::string& text, std::uint64_t number, int digits) {
  for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4)
    text.push_back(kDigits[number >> shift & 0xF]);
}

std::string Quoted(std::string_view utf8) {
  std::string text = "\"";
  for (const char unit : utf8) {
    const auto byte = static_cast<unsigned char>(unit);
    if (unit == '"' || unit == '\\') {
      text.push_back('\\');
      text.push_back(unit);
    } else if (byte < 0x20) {
      text += "\\u";
      AppendHex(text, byte, 4);
    } else {
      text.push_back(unit);
    }
  }
  return text + "\"";
}

}  // namespace

std::string GuidText(const platform::GUID& guid) {
  std::string text = "{";
  AppendHex(text, guid.Data1, 8);
  text.push_back('-');
  AppendHex(text, guid.Data2, 4);
  text.push_back('-');
  AppendHex(text, guid.Data3, 4);
  text.push_back('-');
  for (int i = 0; i < 8; ++i) {
    if (i == 2) text.push_back('-');
    AppendHex(text, guid.Data4[i], 2);
  }
  return text + "}";
}

void JsonWriter::NewLine(std::size_t depth) {
  text_.push_back('\n');
  text_.append(depth * kIndent, ' ');
}

void JsonWriter::BeginValue() {
  if (afterKey_) {
    afterKey_ = false;
    return;
  }
  if (filled_.empty()) return;
  if (filled_.back()) text_.push_back(',');
  if (filled_.size() <= kLinesDepth) {
    NewLine(filled_.size());
  } else if (filled_.back()) {
    text_.push_back(' ');
  }
  filled_.back() = true;
}

void JsonWriter::Begin(char bracket) {
  BeginValue();
  text_.push_back(bracket);
  filled_.push_back(false);
}

void JsonWriter::End(char bracket) {
  const bool lines = filled_.back() && filled_.size() <= kLinesDepth;
  filled_.pop_back();
  if (lines) NewLine(filled_.size());
  text_.push_back(bracket);
  if (filled_.empty()) text_.push_back('\n');
}

void JsonWriter::BeginObject() {
  Begin('{');
}
void JsonWriter::EndObject() {
  End('}');
}
void JsonWriter::BeginList() {
  Begin('[');
}
void JsonWriter::EndList() {
  End(']');
}

JsonWriter& JsonWriter::Key(std::string_view key) {
  BeginValue();
  text_ += Quoted(key) + ": ";
  afterKey_ = true;
  return *this;
}

void JsonWriter::Text(std::string_view ascii) {
  BeginValue();
  text_ += Quoted(ascii);
}

void JsonWriter::Text(std::u16string_view text) {
  const std::string utf8 = ToUtf8(text);
  if (ToUtf16(utf8) == text) {
    Text(std::string_view(utf8));
    return;
  }
  BeginObject();
  Key("units").BeginList();
  for (const char16_t unit : text)
    Number(unit);
  EndList();
  EndObject();
}

void JsonWriter::Number(std::uint64_t number) {
  BeginValue();
  text_ += std::to_string(number);
}

void JsonWriter::Flag(bool flag) {
  BeginValue();
  text_ += flag ? "true" : "false";
}

void JsonWriter::Code(std::uint64_t code) {
  BeginValue();
  int digits = 1;
  while (digits < 16 && code >> (digits * 4) != 0)
    ++digits;
  text_ += "\"0x";
  AppendHex(text_, code, digits);
  text_ += "\"";
}

void JsonWriter::Hex(std::span<const std::uint8_t> bytes) {
  BeginValue();
  text_.push_back('"');
  for (const std::uint8_t byte : bytes)
    AppendHex(text_, byte, 2);
  text_.push_back('"');
}

void JsonWriter::Guid(const platform::GUID& guid) {
  Text(std::string_view(GuidText(guid)));
}

}  // namespace vorn::capture

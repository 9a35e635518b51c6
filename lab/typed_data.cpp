#include "lab/typed_data.h"

namespace vorn::lab {

namespace {

Bytes BytesOfText(const std::u16string& text) {
  Bytes bytes;
  for (const char16_t unit : text + u'\0') {
    bytes.push_back(static_cast<std::uint8_t>(unit & 0xFF));
    bytes.push_back(static_cast<std::uint8_t>(unit >> 8));
  }
  return bytes;
}

/// The text of bytes that are exactly one terminated string.
std::optional<std::u16string> TextOfBytes(const Bytes& bytes) {
  std::u16string text;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2)
    text.push_back(static_cast<char16_t>(bytes[i] | bytes[i + 1] << 8));
  if (text.empty() || text.back() != u'\0') return std::nullopt;
  text.pop_back();
  const bool exact = text.find(u'\0') == std::u16string::npos && BytesOfText(text) == bytes;
  return exact ? std::optional(text) : std::nullopt;
}

Bytes BytesOfNumber(std::uint32_t number) {
  Bytes bytes;
  for (int shift = 0; shift < 32; shift += 8)
    bytes.push_back(static_cast<std::uint8_t>(number >> shift));
  return bytes;
}

std::uint32_t NumberOfBytes(const Bytes& bytes) {
  std::uint32_t number = 0;
  for (std::size_t i = 0; i < 4; ++i)
    number |= std::uint32_t{bytes[i]} << (8 * i);
  return number;
}

}  // namespace

void DescribeTypedData(FactWriter& facts, std::uint32_t& type, Bytes& data, std::uint32_t textType,
                       const std::uint32_t* dwordType) {
  if (type == textType) {
    if (const auto text = TextOfBytes(data)) {
      facts.Fact("text", *text);
      return;
    }
  }
  if (dwordType != nullptr && type == *dwordType && data.size() == 4) {
    facts.Fact("dword", NumberOfBytes(data));
    return;
  }
  facts.Fact("type", type);
  facts.Fact("hex", FormatHex(data));
}

void DescribeTypedData(FactReader& facts, std::uint32_t& type, Bytes& data, std::uint32_t textType,
                       const std::uint32_t* dwordType) {
  const bool isText = facts.Has("text");
  const bool isNumber = dwordType != nullptr && facts.Has("dword");
  const bool isRaw = facts.Has("type") || facts.Has("hex");
  if (int{isText} + int{isNumber} + int{isRaw} != 1) {
    throw BadInput(facts.Path(), dwordType != nullptr
                                     ? "must have either text, or dword, or type and hex"
                                     : "must have either text, or type and hex");
  }
  if (isText) {
    std::u16string text;
    facts.Required("text", text);
    type = textType;
    data = BytesOfText(text);
  } else if (isNumber) {
    std::uint32_t number = 0;
    facts.Required("dword", number);
    type = *dwordType;
    data = BytesOfNumber(number);
  } else {
    std::string hex;
    facts.Required("type", type);
    facts.Required("hex", hex);
    if (!ParseHex(hex, data)) {
      throw BadInput(facts.PathOf("hex"), "must be an even number of hexadecimal digits");
    }
  }
}

}  // namespace vorn::lab

#include "lab/fact_values.h"

#include "base/text.h"
#include "lab/facts.h"
#include "platform/simulated/calls.h"

#include <charconv>
#include <optional>
#include <utility>

namespace vorn::lab {

using platform::simulated::AccessEntry;
using platform::simulated::ParseSddl;
using platform::simulated::SecurityRecord;
using platform::simulated::ToSddl;

namespace {

int HexDigit(char digit) {
  if (digit >= '0' && digit <= '9') return digit - '0';
  if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
  if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
  return -1;
}

/// Whether the bytes are text lines that a JSON document can hold and a person would want to read.
bool IsLines(const Bytes& bytes) {
  if (bytes.empty() || bytes.back() != '\n') return false;
  const std::string text(bytes.begin(), bytes.end());
  for (const char unit : text) {
    if (static_cast<unsigned char>(unit) < 0x20 && unit != '\n' && unit != '\t') return false;
  }
  return ToUtf8(ToUtf16(text)) == text;
}

Json LinesToJson(const Bytes& bytes) {
  Json lines = Json::List();
  std::string line;
  for (const std::uint8_t byte : bytes) {
    if (byte != '\n') {
      line.push_back(static_cast<char>(byte));
      continue;
    }
    lines.push_back(line);
    line.clear();
  }
  return lines;
}

bool IsExactlySddl(const SecurityRecord& record) {
  const auto parsed = ParseSddl(ToSddl(record));
  return parsed && *parsed == record;
}

}  // namespace

template <class Facts>
void Describe(Facts& facts, AccessEntry& entry) {
  facts.Fact("type", entry.type);
  facts.Fact("flags", Coded{entry.flags});
  facts.Fact("mask", Coded{entry.mask});
  facts.Fact("sid", entry.sid);
}

// ------------------------------------------------------------------------------------------------
// Writing.

Json ToJson(bool value) {
  return Json(value);
}

Json ToJson(const std::string& value) {
  return Json(value);
}

Json ToJson(const std::u16string& value) {
  const std::string text = ToUtf8(value);
  if (ToUtf16(text) == value) return Json(text);
  Json::List units;
  for (const char16_t unit : value)
    units.emplace_back(static_cast<unsigned>(unit));
  return Json{{"units", units}};
}

Json ToJson(const platform::GUID& value) {
  return Json(FormatGuid(value));
}

Json ToJson(const Bytes& value) {
  return IsLines(value) ? LinesToJson(value) : Json(FormatHex(value));
}

Json ToJson(const SecurityRecord& value) {
  if (IsExactlySddl(value)) return ToJson(ToSddl(value));
  FactWriter facts;
  facts.Fact("owner", value.owner);
  facts.Fact("group", value.group);
  facts.Fact("daclPresent", value.daclPresent);
  facts.Fact("daclProtected", value.daclProtected);
  facts.Fact("daclAutoInherited", value.daclAutoInherited);
  facts.Fact("entries", value.entries);
  facts.Unusual("image", value.image);
  return facts.Take();
}

Json HexToJson(std::uint64_t value) {
  return Json(platform::simulated::RenderArgument(platform::simulated::Hex{value}));
}

// ------------------------------------------------------------------------------------------------
// Reading.

const std::string& ReadString(const Json& json, const std::string& path) {
  const auto* const text = json.As<std::string>();
  if (text == nullptr) throw BadInput(path, "must be a string");
  return *text;
}

void FromJson(const Json& json, const std::string& path, bool& value) {
  const bool* const answer = json.As<bool>();
  if (answer == nullptr) throw BadInput(path, "must be true or false");
  value = *answer;
}

void FromJson(const Json& json, const std::string& path, std::string& value) {
  value = ReadString(json, path);
}

void FromJson(const Json& json, const std::string& path, std::u16string& value) {
  value.clear();
  if (json.As<Json::Object>() == nullptr) {
    value = ToUtf16(ReadString(json, path));
    return;
  }
  FactReader facts(json, path);
  std::vector<std::uint16_t> units;
  facts.Required("units", units);
  facts.Finish();
  value.assign(units.begin(), units.end());
}

void FromJson(const Json& json, const std::string& path, platform::GUID& value) {
  if (!ParseGuid(ReadString(json, path), value)) {
    throw BadInput(path, "must be a GUID like {01234567-89ab-cdef-0123-456789abcdef}");
  }
}

void FromJson(const Json& json, const std::string& path, Bytes& value) {
  value.clear();
  if (const auto* const digits = json.As<std::string>()) {
    if (!ParseHex(*digits, value)) {
      throw BadInput(path, "must be an even number of hexadecimal digits, or a list of lines");
    }
    return;
  }
  const Json::List& lines = DemandList(json, path);
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const std::string& line = ReadString(lines[i], PathOfElement(path, i));
    value.insert(value.end(), line.begin(), line.end());
    value.push_back('\n');
  }
}

void FromJson(const Json& json, const std::string& path, SecurityRecord& value) {
  if (const auto* const sddl = json.As<std::string>()) {
    const auto parsed = ParseSddl(ToUtf16(*sddl));
    if (!parsed) throw BadInput(path, "is not a security descriptor in SDDL");
    value = *parsed;
    return;
  }
  value = {};
  FactReader facts(json, path);
  facts.Fact("owner", value.owner);
  facts.Fact("group", value.group);
  facts.Fact("daclPresent", value.daclPresent);
  facts.Fact("daclProtected", value.daclProtected);
  facts.Fact("daclAutoInherited", value.daclAutoInherited);
  facts.Fact("entries", value.entries);
  facts.Fact("image", value.image);
  facts.Finish();
}

std::uint64_t ReadUnsigned(const Json& json, const std::string& path, std::uint64_t largest) {
  const auto* const number = json.As<std::uint64_t>();
  std::uint64_t value = number == nullptr ? 0 : *number;
  const auto* const text = json.As<std::string>();
  const bool understood = number != nullptr || (text != nullptr && ParseNumber(*text, value));
  if (understood && value <= largest) return value;
  // Platform documents write a number whose bits are all set as -1.
  const bool negative =
      json.As<std::int64_t>() != nullptr && largest == std::numeric_limits<std::uint32_t>::max();
  throw BadInput(path,
                 "must be a whole number from 0 to " + std::to_string(largest) +
                     (negative ? "; write a negative one as its bits, like \"0xFFFFFFFF\"" : ""));
}

std::int64_t ReadSigned(const Json& json, const std::string& path, std::int64_t smallest,
                        std::int64_t largest) {
  std::optional<std::int64_t> value;
  if (const auto* const number = json.As<std::int64_t>()) value = *number;
  if (const auto* const number = json.As<std::uint64_t>();
      number != nullptr && std::in_range<std::int64_t>(*number)) {
    value = static_cast<std::int64_t>(*number);
  }
  if (value && *value >= smallest && *value <= largest) return *value;
  throw BadInput(path, "must be a whole number from " + std::to_string(smallest) + " to " +
                           std::to_string(largest));
}

std::int32_t ReadSignedCode(const Json& json, const std::string& path) {
  constexpr std::int64_t kSmallest = std::numeric_limits<std::int32_t>::min();
  constexpr std::uint64_t kLargest = std::numeric_limits<std::uint32_t>::max();
  if (const auto* const negative = json.As<std::int64_t>(); negative && *negative >= kSmallest) {
    return static_cast<std::int32_t>(*negative);
  }
  std::uint64_t bits = 0;
  const auto* const number = json.As<std::uint64_t>();
  const auto* const text = json.As<std::string>();
  if (number != nullptr) bits = *number;
  const bool understood = number != nullptr || (text != nullptr && ParseNumber(*text, bits));
  if (understood && bits <= kLargest) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(bits));
  }
  throw BadInput(path, "must be a whole number from " + std::to_string(kSmallest) + " to " +
                           std::to_string(kLargest));
}

bool ParseNumber(std::string_view text, std::uint64_t& value) {
  const bool hexadecimal = text.substr(0, 2) == "0x" || text.substr(0, 2) == "0X";
  if (hexadecimal) text.remove_prefix(2);
  const char* const end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, value, hexadecimal ? 16 : 10);
  return !text.empty() && result.ec == std::errc() && result.ptr == end;
}

bool ParseHex(std::string_view text, Bytes& bytes) {
  if (text.size() % 2 != 0) return false;
  bytes.clear();
  for (std::size_t i = 0; i < text.size(); i += 2) {
    const int high = HexDigit(text[i]);
    const int low = HexDigit(text[i + 1]);
    if (high < 0 || low < 0) return false;
    bytes.push_back(static_cast<std::uint8_t>(high * 16 + low));
  }
  return true;
}

std::string FormatHex(const Bytes& bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  text.reserve(bytes.size() * 2);
  for (const std::uint8_t byte : bytes) {
    text.push_back(kDigits[byte >> 4]);
    text.push_back(kDigits[byte & 15]);
  }
  return text;
}

std::string FormatGuid(const platform::GUID& guid) {
  std::string text = platform::simulated::RenderGuid(guid);
  for (char& unit : text)
    unit = unit >= 'A' && unit <= 'Z' ? static_cast<char>(unit + 0x20) : unit;
  return text;
}

bool ParseGuid(std::string_view text, platform::GUID& guid) {
  constexpr std::string_view kForm = "{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}";
  if (text.size() != kForm.size()) return false;
  std::string digits;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (kForm[i] == 'x') {
      digits.push_back(text[i]);
    } else if (text[i] != kForm[i]) {
      return false;
    }
  }
  Bytes bytes;
  if (!ParseHex(digits, bytes)) return false;
  const auto word = [&bytes](std::size_t from, std::size_t count) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < count; ++i)
      value = value << 8 | bytes[from + i];
    return value;
  };
  guid.Data1 = word(0, 4);
  guid.Data2 = static_cast<std::uint16_t>(word(4, 2));
  guid.Data3 = static_cast<std::uint16_t>(word(6, 2));
  for (std::size_t i = 0; i < 8; ++i)
    guid.Data4[i] = bytes[8 + i];
  return true;
}

}  // namespace vorn::lab

#pragma once

// JsonWriter: puts a JSON text together, value by value.

#include "platform/types.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::capture {

class JsonWriter {
 public:
  void BeginObject();
  void EndObject();
  void BeginList();
  void EndList();

  /// The name of the member whose value is written next.
  JsonWriter& Key(std::string_view key);

  void Text(std::string_view ascii);
  /// A text with an unpaired surrogate, which no JSON string can hold, is {"units": [numbers]}.
  void Text(std::u16string_view text);
  void Number(std::uint64_t number);
  void Flag(bool flag);
  /// "0x1F"
  void Code(std::uint64_t code);
  /// Hexadecimal digits.
  void Hex(std::span<const std::uint8_t> bytes);
  /// "{01234567-89ab-cdef-0123-456789abcdef}"
  void Guid(const platform::GUID& guid);

  const std::string& Result() const { return text_; }

 private:
  void BeginValue();
  void Begin(char bracket);
  void End(char bracket);
  void NewLine(std::size_t depth);

  std::string text_;
  std::vector<bool> filled_;  // for each open bracket: whether it has a value
  bool afterKey_ = false;
};

/// "{01234567-89ab-cdef-0123-456789abcdef}"
std::string GuidText(const platform::GUID& guid);

}  // namespace vorn::capture

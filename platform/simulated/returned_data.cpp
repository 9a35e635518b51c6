#include "platform/simulated/returned_data.h"

#include <algorithm>
#include <cstring>

namespace vorn::platform::simulated {

Bytes ToTerminatedBytes(std::u16string_view text) {
  Bytes data((text.size() + 1) * sizeof(char16_t));
  std::memcpy(data.data(), text.data(), text.size() * sizeof(char16_t));
  return data;
}

void SpoilLength(Bytes& data, const CallFaults& faults) {
  data.resize(faults.Cut(data.size()));
  data.insert(data.end(), faults.Appended(), 'A');
}

void SpoilLength(std::u16string& text, const CallFaults& faults) {
  text.resize(faults.Cut(text.size() * sizeof(char16_t)) / sizeof(char16_t));
  text.append(faults.Appended() / sizeof(char16_t), u'A');
}

// Documented: SetupAPI reports the required size whether or not the buffer suffices.
bool ReturnData(const Bytes& data, void* buffer, std::uint32_t size, std::uint32_t* required) {
  if (required != nullptr) *required = static_cast<std::uint32_t>(data.size());
  if (buffer == nullptr || size < data.size()) return FailWith(ERROR_INSUFFICIENT_BUFFER);
  std::copy(data.begin(), data.end(), static_cast<std::uint8_t*>(buffer));
  return true;
}

bool ReturnText(std::u16string_view text, char16_t* buffer, std::uint32_t size,
                std::uint32_t* required) {
  if (required != nullptr) *required = static_cast<std::uint32_t>(text.size() + 1);
  if (buffer == nullptr || size < text.size() + 1) return FailWith(ERROR_INSUFFICIENT_BUFFER);
  *std::copy(text.begin(), text.end(), buffer) = u'\0';
  return true;
}

}  // namespace vorn::platform::simulated

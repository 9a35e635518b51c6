#include "platform/simulated/returned_data.h"

#include <algorithm>
#include <cstring>

namespace vorn::platform::simulated {

Bytes ToTerminatedBytes(std::u16string_view text) {
  Bytes data((text.size() + 1) * sizeof(char16_t));
  std::memcpy(data.data(), text.data(), text.size() * sizeof(char16_t));
  return data;
}

void CutShort(Bytes& data, const CallFaults& faults) {
  if (faults.shortTo && *faults.shortTo < data.size()) data.resize(*faults.shortTo);
}

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

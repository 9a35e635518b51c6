#include "devnode/device_reads.h"

#include "base/text.h"
#include "platform/last_error.h"
#include "product/product.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace vorn {

constexpr std::uint32_t kHardwareIdBytes = 1024;

bool MatchesRootHardwareId(platform::HDEVINFO list, const platform::SP_DEVINFO_DATA& device) {
  char16_t buffer[kHardwareIdBytes / sizeof(char16_t)] = {};
  if (!platform::SetupDiGetDeviceRegistryPropertyW(list, &device, platform::SPDRP_HARDWAREID,
                                                   nullptr, buffer, sizeof buffer, nullptr)) {
    return false;
  }
  const char16_t* const bufferEnd = std::end(buffer);
  for (const char16_t* text = buffer; text != bufferEnd && *text != u'\0';) {
    const char16_t* const textEnd = std::find(text, bufferEnd, u'\0');
    if (EqualsIgnoringCase(std::u16string_view(text, textEnd), kRootHardwareId)) return true;
    text = textEnd == bufferEnd ? bufferEnd : textEnd + 1;
  }
  return false;
}

std::optional<std::u16string> ReadInstanceId(platform::HDEVINFO list,
                                             const platform::SP_DEVINFO_DATA& device) {
  std::uint32_t length = 0;
  if (platform::SetupDiGetDeviceInstanceIdW(list, &device, nullptr, 0, &length) ||
      platform::GetLastError() != platform::ERROR_INSUFFICIENT_BUFFER || length == 0) {
    return std::nullopt;
  }
  std::u16string buffer(length, u'\0');
  if (!platform::SetupDiGetDeviceInstanceIdW(list, &device, buffer.data(), length, nullptr)) {
    return std::nullopt;
  }
  const std::u16string_view instanceId = buffer.c_str();
  if (instanceId.empty()) return std::nullopt;
  return std::u16string(instanceId);
}

std::u16string ReadStringProperty(platform::HDEVINFO list, const platform::SP_DEVINFO_DATA& device,
                                  const platform::DEVPROPKEY& key) {
  std::uint32_t type = 0;
  std::uint32_t bytes = 0;
  if (platform::SetupDiGetDevicePropertyW(list, &device, &key, &type, nullptr, 0, &bytes) ||
      platform::GetLastError() != platform::ERROR_INSUFFICIENT_BUFFER || bytes < sizeof(char16_t)) {
    return {};
  }
  std::u16string value((bytes + 1) / sizeof(char16_t), u'\0');
  if (!platform::SetupDiGetDevicePropertyW(list, &device, &key, &type, value.data(), bytes,
                                           nullptr) ||
      type != platform::DEVPROP_TYPE_STRING) {
    return {};
  }
  return value.c_str();
}

}  // namespace vorn

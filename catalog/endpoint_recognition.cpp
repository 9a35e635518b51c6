#include "catalog/endpoint_recognition.h"

#include "base/text.h"

#include <algorithm>
#include <string>

namespace vorn {

namespace {

bool IsSeparator(char16_t unit) {
  return unit == u'#' || unit == u'\\' || unit == u'/';
}

/// The instance id as it appears in device interface names.
std::u16string InterfaceSpelling(std::u16string_view instanceId) {
  std::u16string spelling = ToLowerAscii(instanceId);
  std::replace_if(spelling.begin(), spelling.end(), IsSeparator, u'#');
  return spelling;
}

}  // namespace

std::optional<std::uint32_t> CableIndexOf(const platform::PROPVARIANT& value) {
  if (value.vt == platform::VT_UI4) return value.ulVal;
  if (value.vt == platform::VT_I4 && value.lVal >= 0) {
    return static_cast<std::uint32_t>(value.lVal);
  }
  return std::nullopt;
}

bool IsConnectedToRoot(std::u16string_view connectedDeviceId, std::u16string_view rootInstanceId) {
  if (rootInstanceId.empty()) return false;
  const std::u16string root = InterfaceSpelling(rootInstanceId);
  const auto isSame = [](char16_t unit, char16_t lower) { return ToLowerAscii(unit) == lower; };
  for (std::u16string_view rest = connectedDeviceId;; rest.remove_prefix(1)) {
    const auto found = std::search(rest.begin(), rest.end(), root.begin(), root.end(), isSame);
    if (found == rest.end()) return false;
    rest.remove_prefix(static_cast<std::size_t>(found - rest.begin()));
    if (rest.size() == root.size() || IsSeparator(rest[root.size()])) return true;
  }
}

}  // namespace vorn

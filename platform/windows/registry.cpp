#include "platform/registry.h"

#include "platform/windows/casts.h"

namespace vorn::platform {

using windows::As;
using windows::AsDword;
using windows::Wide;

LSTATUS RegOpenKeyExW(HKEY key, const char16_t* subkey, std::uint32_t options,
                      std::uint32_t desiredAccess, HKEY* result) {
  return ::RegOpenKeyExW(As<::HKEY>(key), Wide(subkey), options, desiredAccess,
                         reinterpret_cast<::HKEY*>(result));
}

LSTATUS RegEnumKeyExW(HKEY key, std::uint32_t index, char16_t* name, std::uint32_t* nameSize) {
  return ::RegEnumKeyExW(As<::HKEY>(key), index, Wide(name), AsDword(nameSize), nullptr, nullptr,
                         nullptr, nullptr);
}

LSTATUS RegGetValueW(HKEY key, const char16_t* subkey, const char16_t* value, std::uint32_t flags,
                     std::uint32_t* type, void* data, std::uint32_t* size) {
  return ::RegGetValueW(As<::HKEY>(key), Wide(subkey), Wide(value), flags, AsDword(type), data,
                        AsDword(size));
}

LSTATUS RegCloseKey(HKEY key) {
  return ::RegCloseKey(As<::HKEY>(key));
}

}  // namespace vorn::platform

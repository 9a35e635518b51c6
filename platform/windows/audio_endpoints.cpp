#include "platform/audio_endpoints.h"

// clang-format off
#include "platform/windows/casts.h"
#include <objbase.h>
#include <propidl.h>
// clang-format on

namespace vorn::platform {

HRESULT CoInitializeEx(std::uint32_t concurrencyModel) {
  return ::CoInitializeEx(nullptr, concurrencyModel);
}

void CoUninitialize() {
  ::CoUninitialize();
}

HRESULT CoCreateInstance(const GUID& classId, std::uint32_t context, const GUID& iid,
                         void** object) {
  return ::CoCreateInstance(*windows::AsGuid(&classId), nullptr, context, *windows::AsGuid(&iid),
                            object);
}

void CoTaskMemFree(void* memory) {
  ::CoTaskMemFree(memory);
}

HRESULT PropVariantClear(PROPVARIANT* value) {
  return ::PropVariantClear(windows::As<::PROPVARIANT*>(value));
}

}  // namespace vorn::platform

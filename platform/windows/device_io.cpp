#include "platform/device_io.h"

#include "platform/windows/casts.h"

namespace vorn::platform {

using windows::As;

HANDLE CreateFileW(const char16_t* path, std::uint32_t desiredAccess, std::uint32_t shareMode,
                   std::uint32_t creationDisposition, std::uint32_t flagsAndAttributes) {
  return As<HANDLE>(::CreateFileW(windows::Wide(path), desiredAccess, shareMode, nullptr,
                                  creationDisposition, flagsAndAttributes, nullptr));
}

bool DeviceIoControl(HANDLE device, std::uint32_t controlCode, const void* input,
                     std::uint32_t inputSize, void* output, std::uint32_t outputSize,
                     std::uint32_t* bytesReturned) {
  return ::DeviceIoControl(As<::HANDLE>(device), controlCode, const_cast<void*>(input), inputSize,
                           output, outputSize, windows::AsDword(bytesReturned), nullptr) != 0;
}

}  // namespace vorn::platform

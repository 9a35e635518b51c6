#include "platform/files.h"

#include "platform/windows/casts.h"

namespace vorn::platform {

using windows::As;
using windows::AsDword;
using windows::Wide;

bool CloseHandle(HANDLE handle) {
  return ::CloseHandle(As<::HANDLE>(handle)) != 0;
}

std::uint32_t GetFileType(HANDLE file) {
  return ::GetFileType(As<::HANDLE>(file));
}

bool GetFileInformationByHandle(HANDLE file, BY_HANDLE_FILE_INFORMATION* information) {
  return ::GetFileInformationByHandle(As<::HANDLE>(file),
                                      As<::BY_HANDLE_FILE_INFORMATION*>(information)) != 0;
}

bool GetFileInformationByHandleEx(HANDLE file, std::uint32_t informationClass, void* information,
                                  std::uint32_t size) {
  return ::GetFileInformationByHandleEx(As<::HANDLE>(file),
                                        static_cast<FILE_INFO_BY_HANDLE_CLASS>(informationClass),
                                        information, size) != 0;
}

bool SetFileInformationByHandle(HANDLE file, std::uint32_t informationClass,
                                const void* information, std::uint32_t size) {
  return ::SetFileInformationByHandle(As<::HANDLE>(file),
                                      static_cast<FILE_INFO_BY_HANDLE_CLASS>(informationClass),
                                      const_cast<void*>(information), size) != 0;
}

std::uint32_t GetFinalPathNameByHandleW(HANDLE file, char16_t* path, std::uint32_t size,
                                        std::uint32_t flags) {
  return ::GetFinalPathNameByHandleW(As<::HANDLE>(file), Wide(path), size, flags);
}

bool SetFilePointerEx(HANDLE file, std::int64_t distance, std::int64_t* newPosition,
                      std::uint32_t method) {
  LARGE_INTEGER target;
  target.QuadPart = distance;
  return ::SetFilePointerEx(As<::HANDLE>(file), target,
                            reinterpret_cast<LARGE_INTEGER*>(newPosition), method) != 0;
}

bool ReadFile(HANDLE file, void* buffer, std::uint32_t size, std::uint32_t* read) {
  return ::ReadFile(As<::HANDLE>(file), buffer, size, AsDword(read), nullptr) != 0;
}

bool WriteFile(HANDLE file, const void* buffer, std::uint32_t size, std::uint32_t* written) {
  return ::WriteFile(As<::HANDLE>(file), buffer, size, AsDword(written), nullptr) != 0;
}

bool SetEndOfFile(HANDLE file) {
  return ::SetEndOfFile(As<::HANDLE>(file)) != 0;
}

bool FlushFileBuffers(HANDLE file) {
  return ::FlushFileBuffers(As<::HANDLE>(file)) != 0;
}

std::uint32_t QueryDosDeviceW(const char16_t* deviceName, char16_t* targets, std::uint32_t size) {
  return ::QueryDosDeviceW(Wide(deviceName), Wide(targets), size);
}

std::uint32_t GetTempPathW(std::uint32_t size, char16_t* path) {
  return ::GetTempPathW(size, Wide(path));
}

std::uint32_t GetWindowsDirectoryW(char16_t* path, std::uint32_t size) {
  return ::GetWindowsDirectoryW(Wide(path), size);
}

std::uint32_t GetFullPathNameW(const char16_t* fileName, std::uint32_t size, char16_t* path,
                               char16_t** filePart) {
  return ::GetFullPathNameW(Wide(fileName), size, Wide(path),
                            reinterpret_cast<wchar_t**>(filePart));
}

std::uint32_t GetModuleFileNameW(HMODULE module, char16_t* path, std::uint32_t size) {
  return ::GetModuleFileNameW(As<::HMODULE>(module), Wide(path), size);
}

bool CreateDirectoryW(const char16_t* path) {
  return ::CreateDirectoryW(Wide(path), nullptr) != 0;
}

}  // namespace vorn::platform

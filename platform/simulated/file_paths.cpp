// Calls that name files and folders without opening them, and CreateDirectoryW.

#include "base/text.h"
#include "platform/files.h"
#include "platform/last_error.h"
#include "platform/simulated/calls.h"
#include "platform/simulated/dos_paths.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/file_open.h"
#include "platform/simulated/modules.h"
#include "platform/simulated/native_status.h"
#include "platform/simulated/native_values.h"
#include "platform/simulated/text_out.h"
#include "platform/simulated/upper_case.h"

#include <algorithm>

namespace vorn::platform {

namespace simulated {

namespace {

const FileSystem& CurrentFiles() {
  return Process::Current().TheMachine().files;
}

/// The whole list of names, or the targets of one name; each text is terminated.
std::optional<std::u16string> DosDeviceTexts(const FileSystem& files, const char16_t* name) {
  if (name != nullptr) {
    const auto found = files.dosDevices.find(ToUpperName(name));
    if (found == files.dosDevices.end()) return std::nullopt;
    return found->second + u'\0';
  }
  std::u16string names;
  for (const auto& [device, target] : files.dosDevices)
    names += device + u'\0';
  return names;
}

std::uint32_t QueryDevices(const char16_t* name, char16_t* targets, std::uint32_t size) {
  std::optional<std::u16string> texts = DosDeviceTexts(CurrentFiles(), name);
  if (!texts) return FailWith(ERROR_FILE_NOT_FOUND);
  texts->push_back(u'\0');  // ends the list
  if (texts->size() > size) return FailWith(ERROR_INSUFFICIENT_BUFFER);
  std::copy(texts->begin(), texts->end(), targets);
  return static_cast<std::uint32_t>(texts->size());
}

/// Documented: a truncated module path is still terminated, and the result `size` reports the
/// truncation.
std::uint32_t CopyModulePath(std::u16string text, const CallFaults& faults, char16_t* path,
                             std::uint32_t size) {
  SpoilLength(text, faults);
  if (text.size() < size) return CopyOut(text, path, size);
  SetLastError(ERROR_INSUFFICIENT_BUFFER);
  if (size == 0) return 0;
  std::copy_n(text.begin(), size - 1, path);
  path[size - 1] = 0;
  return size;
}

std::uint32_t FullPathOf(const char16_t* fileName, const CallFaults& faults, std::uint32_t size,
                         char16_t* path, char16_t** filePart) {
  std::u16string full = fileName == nullptr ? std::u16string() : FullPath(CurrentFiles(), fileName);
  if (full.empty()) return FailWith(ERROR_INVALID_NAME);
  SpoilLength(full, faults);
  const std::uint32_t result = CopyOut(full, path, size);
  if (result >= size) return result;
  if (filePart == nullptr) return result;
  const std::size_t name = full.rfind(u'\\') + 1;
  *filePart = name == full.size() ? nullptr : path + name;
  return result;
}

bool CreateFolder(const char16_t* path) {
  // Documented: the path of a new folder must leave room for a name in 8.3 form.
  constexpr std::size_t kLongestFolder = MAX_PATH - 12;
  Process& process = Process::Current();
  if (path == nullptr) return FailWith(ERROR_PATH_NOT_FOUND);
  const std::u16string full = FullPath(CurrentFiles(), path);
  if (full.empty()) return FailWith(ERROR_PATH_NOT_FOUND);
  const bool verbatim = full.starts_with(u"\\\\?\\");
  if (!verbatim && full.size() >= kLongestFolder) return FailWith(ERROR_FILENAME_EXCED_RANGE);
  const std::u16string name = ToNtPath(CurrentFiles(), path);
  OpenRequest request;
  request.name = name;
  request.access = FILE_LIST_DIRECTORY | SYNCHRONIZE;
  request.attributes = FILE_ATTRIBUTE_NORMAL;
  request.share = FILE_SHARE_READ | FILE_SHARE_WRITE;
  request.disposition = FILE_CREATE;
  // Observed: CreateDirectoryW takes a link of that name for a taken name, and follows links above
  // it.
  request.options = FILE_DIRECTORY_FILE | FILE_SYNCHRONOUS_IO_NONALERT | FILE_OPEN_REPARSE_POINT;
  const OpenResult result = OpenByName(process, request);
  return result.status == STATUS_SUCCESS || FailWith(ToDosError(result.status));
}

}  // namespace

}  // namespace simulated

using namespace simulated;

std::uint32_t QueryDosDeviceW(const char16_t* deviceName, char16_t* targets, std::uint32_t size) {
  return SimulateCall<std::uint32_t>(
      "QueryDosDeviceW", FailureStyle::LastError, 0,
      Arguments("lpDeviceName", deviceName, "ucchMax", size),
      [&](const CallFaults&) { return QueryDevices(deviceName, targets, size); });
}

std::uint32_t GetTempPathW(std::uint32_t size, char16_t* path) {
  return SimulateCall<std::uint32_t>(
      "GetTempPathW", FailureStyle::LastError, 0, Arguments("nBufferLength", size),
      [&](const CallFaults& faults) {
        return CopyOut(CurrentFiles().tempFolder, faults, path, size);
      });
}

std::uint32_t GetWindowsDirectoryW(char16_t* path, std::uint32_t size) {
  return SimulateCall<std::uint32_t>("GetWindowsDirectoryW", FailureStyle::LastError, 0,
                                     Arguments("uSize", size), [&](const CallFaults& faults) {
                                       return CopyOut(CurrentFiles().windowsFolder, faults, path,
                                                      size);
                                     });
}

std::uint32_t GetFullPathNameW(const char16_t* fileName, std::uint32_t size, char16_t* path,
                               char16_t** filePart) {
  return SimulateCall<std::uint32_t>(
      "GetFullPathNameW", FailureStyle::LastError, 0,
      Arguments("lpFileName", fileName, "nBufferLength", size),
      [&](const CallFaults& faults) { return FullPathOf(fileName, faults, size, path, filePart); });
}

std::uint32_t GetModuleFileNameW(HMODULE module, char16_t* path, std::uint32_t size) {
  return SimulateCall<std::uint32_t>(
      "GetModuleFileNameW", FailureStyle::LastError, 0, Arguments("hModule", module, "nSize", size),
      [&](const CallFaults& faults) -> std::uint32_t {
        const FileSystem& files = CurrentFiles();
        if (module == nullptr || module == ProgramModule()) {
          return CopyModulePath(files.modulePath, faults, path, size);
        }
        if (module == NtdllModule()) {
          return CopyModulePath(files.windowsFolder + u"\\SYSTEM32\\ntdll.dll", faults, path, size);
        }
        return FailWith(ERROR_MOD_NOT_FOUND);
      });
}

bool CreateDirectoryW(const char16_t* path) {
  return SimulateBool("CreateDirectoryW", Arguments("lpPathName", path),
                      [&](const CallFaults&) { return CreateFolder(path); });
}

}  // namespace vorn::platform

#include "platform/files.h"

#include "platform/last_error.h"
#include "platform/simulated/calls.h"
#include "platform/simulated/directory_pages.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/file_open.h"
#include "platform/simulated/file_tree.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/native_status.h"
#include "platform/simulated/native_values.h"
#include "platform/simulated/text_out.h"

#include <algorithm>
#include <cstring>

namespace vorn::platform {

namespace simulated {

namespace {

bool FailWithStatus(NTSTATUS status) {
  return FailWith(ToDosError(status));
}

std::shared_ptr<FileObject> CurrentFile(HANDLE handle) {
  return FindFile(Process::Current(), handle);
}

std::int64_t Now() {
  return FileTimeNow(Process::Current().TheMachine());
}

FILETIME ToFileTime(std::int64_t time) {
  const auto bits = static_cast<std::uint64_t>(time);
  return {static_cast<std::uint32_t>(bits), static_cast<std::uint32_t>(bits >> 32)};
}

std::uint32_t High(std::uint64_t value) {
  return static_cast<std::uint32_t>(value >> 32);
}
std::uint32_t Low(std::uint64_t value) {
  return static_cast<std::uint32_t>(value);
}

BY_HANDLE_FILE_INFORMATION FactsOf(const FileObject& file) {
  const Node& node = file.Read();
  const std::uint64_t index = FileIndexOf(file.Id(), node);
  BY_HANDLE_FILE_INFORMATION facts = {};
  facts.dwFileAttributes = ReportedAttributes(node);
  facts.ftCreationTime = ToFileTime(node.times.creation);
  facts.ftLastAccessTime = ToFileTime(node.times.lastAccess);
  facts.ftLastWriteTime = ToFileTime(node.times.lastWrite);
  facts.dwVolumeSerialNumber = VolumeOf(file.Files(), node).serial;
  facts.nFileSizeHigh = High(FileSize(node));
  facts.nFileSizeLow = Low(FileSize(node));
  facts.nNumberOfLinks = node.reportedLinks.value_or(node.links);
  facts.nFileIndexHigh = High(index);
  facts.nFileIndexLow = Low(index);
  return facts;
}

/// Copies a fixed-size structure out.
template <class T>
NTSTATUS Give(const T& facts, void* information, std::uint32_t size) {
  if (size < sizeof facts) return STATUS_INFO_LENGTH_MISMATCH;
  std::memcpy(information, &facts, sizeof facts);
  return STATUS_SUCCESS;
}

FILE_BASIC_INFO BasicInfo(const Node& node) {
  const FileTimes& times = node.times;
  return {times.creation, times.lastAccess,         times.lastWrite,
          times.change,   ReportedAttributes(node), 0};
}

NTSTATUS QueryFile(FileObject& file, std::uint32_t informationClass, void* information,
                   std::uint32_t size) {
  const bool listing = informationClass == FileIdBothDirectoryInfo ||
                       informationClass == FileIdBothDirectoryRestartInfo;
  const std::uint32_t needed = listing ? FILE_LIST_DIRECTORY : FILE_READ_ATTRIBUTES;
  if (!file.MayAny(needed)) return STATUS_ACCESS_DENIED;
  const Node& node = file.Read();
  if (informationClass == FileBasicInfo) return Give(BasicInfo(node), information, size);
  if (informationClass == FileAttributeTagInfo) {
    return Give(FILE_ATTRIBUTE_TAG_INFO{ReportedAttributes(node), ReparseTag(node)}, information,
                size);
  }
  if (!listing || !node.directory) return STATUS_INVALID_PARAMETER;
  return FillDirectoryPage(file, informationClass == FileIdBothDirectoryRestartInfo, information,
                           size);
}

/// Documented: setting a file time to 0 leaves it unchanged; -1 and -2 turn its automatic update
/// off and on for the handle.
void SetTime(std::int64_t& time, std::int64_t wanted) {
  if (wanted > 0) time = wanted;
}

NTSTATUS SetBasic(FileObject& file, const FILE_BASIC_INFO& info) {
  constexpr std::uint32_t kKept = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN |
                                  FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_ARCHIVE;
  if (!file.MayAny(FILE_WRITE_ATTRIBUTES)) return STATUS_ACCESS_DENIED;
  const bool asFolder = (info.FileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
  if (asFolder && !file.Read().directory) return STATUS_INVALID_PARAMETER;
  Node& node = file.Write();
  SetTime(node.times.creation, info.CreationTime);
  SetTime(node.times.lastAccess, info.LastAccessTime);
  SetTime(node.times.lastWrite, info.LastWriteTime);
  SetTime(node.times.change, info.ChangeTime);
  if (info.FileAttributes != 0) node.attributes = info.FileAttributes & kKept;
  return STATUS_SUCCESS;
}

NTSTATUS SetDisposition(FileObject& file, bool remove) {
  if (!file.MayAny(DELETE)) return STATUS_ACCESS_DENIED;
  const Node& node = file.Read();
  const Place& place = file.OpenedAs();
  if (remove) {
    const bool readOnly = (node.attributes & FILE_ATTRIBUTE_READONLY) != 0;
    if (readOnly || place.folder == 0) return STATUS_CANNOT_DELETE;
    if (!node.entries.empty()) return STATUS_DIRECTORY_NOT_EMPTY;
  }
  const Entry* entry = FindEntry(file.Files(), place);
  if (entry == nullptr || entry->node != file.Id()) return STATUS_SUCCESS;  // the name is gone
  file.Files().nodes.at(place.folder).entries.at(place.key).deletePending = remove;
  return STATUS_SUCCESS;
}

template <class T>
NTSTATUS Take(const void* information, std::uint32_t size, T& value) {
  if (size < sizeof value) return STATUS_INFO_LENGTH_MISMATCH;
  std::memcpy(&value, information, sizeof value);
  return STATUS_SUCCESS;
}

NTSTATUS Set(FileObject& file, std::uint32_t informationClass, const void* information,
             std::uint32_t size) {
  if (informationClass == FileBasicInfo) {
    FILE_BASIC_INFO info = {};
    const NTSTATUS taken = Take(information, size, info);
    return taken == STATUS_SUCCESS ? SetBasic(file, info) : taken;
  }
  if (informationClass == FileDispositionInfo) {
    FILE_DISPOSITION_INFO info = {};
    const NTSTATUS taken = Take(information, size, info);
    return taken == STATUS_SUCCESS ? SetDisposition(file, info.DeleteFile != 0) : taken;
  }
  return STATUS_INVALID_PARAMETER;
}

std::uint32_t Limited(std::uint32_t size, const CallFaults& faults) {
  return static_cast<std::uint32_t>(faults.Cut(size));
}

bool WriteAt(FileObject& file, const void* buffer, std::uint32_t size, std::uint32_t* written) {
  // Documented: a handle that may only append always writes at the end, whatever its position.
  const bool appends = !file.MayAny(FILE_WRITE_DATA);
  const std::uint64_t position = appends ? FileSize(file.Read()) : file.position;
  if (!WriteContent(file.Files(), file.Id(), position, buffer, size)) {
    return FailWithStatus(STATUS_DISK_FULL);
  }
  file.Write().times.lastWrite = Now();
  file.written = true;
  file.position = position + size;
  *written = size;
  return true;
}

std::u16string VolumeRootText(const Volume& volume, std::uint32_t flags) {
  constexpr std::uint32_t kVolumeNames = VOLUME_NAME_GUID | VOLUME_NAME_NT | VOLUME_NAME_NONE;
  switch (flags & kVolumeNames) {
    case VOLUME_NAME_GUID:
      if (volume.reportedRoot) return *volume.reportedRoot;
      return volume.guid.empty() ? std::u16string() : u"\\\\?\\Volume{" + volume.guid + u"}\\";
    case VOLUME_NAME_NT:
      return volume.device + u"\\";
    case VOLUME_NAME_NONE:
      return u"\\";
    default:
      if (volume.letter == 0) return {};
      return {u'\\', u'\\', u'?', u'\\', volume.letter, u':', u'\\'};
  }
}

std::uint32_t FinalPath(const FileObject& file, const CallFaults& faults, char16_t* path,
                        std::uint32_t size, std::uint32_t flags) {
  const std::u16string root = VolumeRootText(VolumeOf(file.Files(), file.Read()), flags);
  const std::u16string below = PathBelowRoot(file.Files(), file.OpenedAs());
  if (root.empty() || below.empty()) {
    SetLastError(root.empty() ? ERROR_PATH_NOT_FOUND : ERROR_FILE_NOT_FOUND);
    return 0;
  }
  const std::uint32_t result = CopyOut(root + below.substr(1), faults, path, size);
  if (result > size) SetLastError(ERROR_NOT_ENOUGH_MEMORY);
  return result;
}

}  // namespace

}  // namespace simulated

using namespace simulated;

bool CloseHandle(HANDLE handle) {
  return SimulateBool("CloseHandle", Arguments("hObject", handle), [&](const CallFaults&) {
    // Documented: the calling process's pseudo handle has the same value, and closing it does
    // nothing.
    if (handle == INVALID_HANDLE_VALUE) return true;
    const auto value = reinterpret_cast<std::uintptr_t>(handle);
    return Process::Current().Remove(ObjectKind::Handle, value) || FailWith(ERROR_INVALID_HANDLE);
  });
}

std::uint32_t GetFileType(HANDLE file) {
  return SimulateCall<std::uint32_t>(
      "GetFileType", FailureStyle::LastError, FILE_TYPE_UNKNOWN, Arguments("hFile", file),
      [&](const CallFaults&) {
        const auto object = CurrentFile(file);
        SetLastError(object == nullptr ? ERROR_INVALID_HANDLE : ERROR_SUCCESS);
        if (object == nullptr) return FILE_TYPE_UNKNOWN;
        return object->Read().reportedType.value_or(FILE_TYPE_DISK);
      });
}

bool GetFileInformationByHandle(HANDLE file, BY_HANDLE_FILE_INFORMATION* information) {
  return SimulateBool("GetFileInformationByHandle", Arguments("hFile", file),
                      [&](const CallFaults&) {
                        const auto object = CurrentFile(file);
                        if (object == nullptr) return FailWith(ERROR_INVALID_HANDLE);
                        if (!object->MayAny(FILE_READ_ATTRIBUTES)) {
                          return FailWith(ERROR_ACCESS_DENIED);
                        }
                        *information = FactsOf(*object);
                        return true;
                      });
}

bool GetFileInformationByHandleEx(HANDLE file, std::uint32_t informationClass, void* information,
                                  std::uint32_t size) {
  return SimulateBool(
      "GetFileInformationByHandleEx",
      Arguments("hFile", file, "FileInformationClass", informationClass, "dwBufferSize", size),
      [&](const CallFaults& faults) {
        const auto object = CurrentFile(file);
        if (object == nullptr) return FailWith(ERROR_INVALID_HANDLE);
        const NTSTATUS status =
            QueryFile(*object, informationClass, information, Limited(size, faults));
        return status == STATUS_SUCCESS || FailWithStatus(status);
      });
}

bool SetFileInformationByHandle(HANDLE file, std::uint32_t informationClass,
                                const void* information, std::uint32_t size) {
  return SimulateBool(
      "SetFileInformationByHandle",
      Arguments("hFile", file, "FileInformationClass", informationClass, "dwBufferSize", size),
      [&](const CallFaults&) {
        const auto object = CurrentFile(file);
        if (object == nullptr) return FailWith(ERROR_INVALID_HANDLE);
        const NTSTATUS status = Set(*object, informationClass, information, size);
        return status == STATUS_SUCCESS || FailWithStatus(status);
      });
}

std::uint32_t GetFinalPathNameByHandleW(HANDLE file, char16_t* path, std::uint32_t size,
                                        std::uint32_t flags) {
  return SimulateCall<std::uint32_t>(
      "GetFinalPathNameByHandleW", FailureStyle::LastError, 0,
      Arguments("hFile", file, "cchFilePath", size, "dwFlags", Hex{flags}),
      [&](const CallFaults& faults) -> std::uint32_t {
        const auto object = CurrentFile(file);
        if (object == nullptr) return FailWith(ERROR_INVALID_HANDLE);
        return FinalPath(*object, faults, path, size, flags);
      });
}

bool SetFilePointerEx(HANDLE file, std::int64_t distance, std::int64_t* newPosition,
                      std::uint32_t method) {
  return SimulateBool(
      "SetFilePointerEx",
      Arguments("hFile", file, "liDistanceToMove", distance, "dwMoveMethod", method),
      [&](const CallFaults&) {
        const auto object = CurrentFile(file);
        if (object == nullptr) return FailWith(ERROR_INVALID_HANDLE);
        if (!object->MayAny(FILE_READ_DATA | FILE_WRITE_DATA)) return FailWith(ERROR_ACCESS_DENIED);
        if (method > FILE_END) return FailWith(ERROR_INVALID_PARAMETER);
        const std::uint64_t from = method == FILE_BEGIN     ? 0
                                   : method == FILE_CURRENT ? object->position
                                                            : FileSize(object->Read());
        const auto position =
            static_cast<std::int64_t>(from + static_cast<std::uint64_t>(distance));
        if (position < 0) return FailWith(ERROR_NEGATIVE_SEEK);
        object->position = static_cast<std::uint64_t>(position);
        if (newPosition != nullptr) *newPosition = position;
        return true;
      });
}

bool ReadFile(HANDLE file, void* buffer, std::uint32_t size, std::uint32_t* read) {
  return SimulateBool("ReadFile", Arguments("hFile", file, "nNumberOfBytesToRead", size),
                      [&](const CallFaults& faults) {
                        *read = 0;
                        const auto object = CurrentFile(file);
                        if (object == nullptr) return FailWith(ERROR_INVALID_HANDLE);
                        if (!object->MayAny(FILE_READ_DATA)) return FailWith(ERROR_ACCESS_DENIED);
                        if (object->Read().directory)
                          return FailWithStatus(STATUS_INVALID_DEVICE_REQUEST);
                        const std::size_t count = ReadContent(object->Read(), object->position,
                                                              buffer, Limited(size, faults));
                        object->position += count;
                        *read = static_cast<std::uint32_t>(count);
                        return true;
                      });
}

bool WriteFile(HANDLE file, const void* buffer, std::uint32_t size, std::uint32_t* written) {
  return SimulateBool("WriteFile", Arguments("hFile", file, "nNumberOfBytesToWrite", size),
                      [&](const CallFaults& faults) {
                        *written = 0;
                        const auto object = CurrentFile(file);
                        if (object == nullptr) return FailWith(ERROR_INVALID_HANDLE);
                        if (!object->MayAny(FILE_WRITE_DATA | FILE_APPEND_DATA)) {
                          return FailWith(ERROR_ACCESS_DENIED);
                        }
                        if (object->Read().directory)
                          return FailWithStatus(STATUS_INVALID_DEVICE_REQUEST);
                        return WriteAt(*object, buffer, Limited(size, faults), written);
                      });
}

bool SetEndOfFile(HANDLE file) {
  return SimulateBool("SetEndOfFile", Arguments("hFile", file), [&](const CallFaults&) {
    const auto object = CurrentFile(file);
    if (object == nullptr) return FailWith(ERROR_INVALID_HANDLE);
    if (!object->MayAny(FILE_WRITE_DATA)) return FailWith(ERROR_ACCESS_DENIED);
    if (object->Read().directory) return FailWithStatus(STATUS_INVALID_PARAMETER);
    const bool fits = ResizeContent(object->Files(), object->Id(), object->position);
    if (!fits) return FailWithStatus(STATUS_DISK_FULL);
    object->Write().times.lastWrite = Now();
    object->written = true;
    return true;
  });
}

bool FlushFileBuffers(HANDLE file) {
  return SimulateBool("FlushFileBuffers", Arguments("hFile", file), [&](const CallFaults&) {
    const auto object = CurrentFile(file);
    if (object == nullptr) return FailWith(ERROR_INVALID_HANDLE);
    const bool writable = object->MayAny(FILE_WRITE_DATA | FILE_APPEND_DATA);
    return writable || FailWith(ERROR_ACCESS_DENIED);
  });
}

}  // namespace vorn::platform

#include "privileged_input/native_open.h"

#include "platform/files.h"
#include "platform/last_error.h"
#include "platform/native.h"
#include "privileged_input/deletion.h"
#include "privileged_input/path_rules.h"
#include "privileged_input/refusal.h"

namespace vorn::privileged_input {

namespace {

constexpr std::uint32_t kDirectoryAccess = platform::READ_CONTROL | platform::FILE_READ_ATTRIBUTES |
                                           platform::FILE_TRAVERSE | platform::FILE_LIST_DIRECTORY;
constexpr std::uint32_t kFileAccess = platform::GENERIC_READ | platform::READ_CONTROL;

/// FILE_ATTRIBUTE_DIRECTORY asks for a folder, 0 for a file.
bool IsPlainObject(platform::HANDLE handle, std::uint32_t wantedDirectoryAttribute) {
  if (platform::GetFileType(handle) != platform::FILE_TYPE_DISK) {
    return RefuseWith(platform::ERROR_FILE_INVALID);
  }
  platform::FILE_ATTRIBUTE_TAG_INFO info = {};
  if (!platform::GetFileInformationByHandleEx(handle, platform::FileAttributeTagInfo, &info,
                                              sizeof info)) {
    return false;
  }
  const bool link = (info.FileAttributes & platform::FILE_ATTRIBUTE_REPARSE_POINT) != 0;
  const std::uint32_t directory = info.FileAttributes & platform::FILE_ATTRIBUTE_DIRECTORY;
  return (!link && directory == wantedDirectoryAttribute) ||
         RefuseWith(platform::ERROR_FILE_INVALID);
}

}  // namespace

const OpenRequest kOpenDirectory = {kDirectoryAccess, platform::FILE_OPEN,
                                    platform::FILE_DIRECTORY_FILE};
const OpenRequest kCreateDirectory = {kDirectoryAccess | platform::DELETE, platform::FILE_CREATE,
                                      platform::FILE_DIRECTORY_FILE};
const OpenRequest kOpenFile = {kFileAccess, platform::FILE_OPEN, platform::FILE_NON_DIRECTORY_FILE};
const OpenRequest kOpenDeletableFile = {
    kFileAccess | platform::DELETE | platform::FILE_WRITE_ATTRIBUTES, platform::FILE_OPEN,
    platform::FILE_NON_DIRECTORY_FILE};
const OpenRequest kCreateFile = {kFileAccess | platform::GENERIC_WRITE | platform::DELETE,
                                 platform::FILE_CREATE, platform::FILE_NON_DIRECTORY_FILE};

platform::KernelHandle OpenNative(const NativeApi& api, platform::HANDLE parent,
                                  std::u16string_view name, const OpenRequest& request,
                                  const platform::SECURITY_DESCRIPTOR* descriptor) {
  if (api.ntCreateFile == nullptr || api.rtlNtStatusToDosError == nullptr ||
      name.size() > kMaxPathLength) {
    return RefuseWith<platform::KernelHandle>(platform::ERROR_PROC_NOT_FOUND);
  }
  const auto bytes = static_cast<std::uint16_t>(name.size() * sizeof(char16_t));
  const platform::UNICODE_STRING objectName = {bytes, bytes, name.data()};
  const platform::OBJECT_ATTRIBUTES attributes = {
      sizeof(platform::OBJECT_ATTRIBUTES),
      parent,
      &objectName,
      platform::OBJ_CASE_INSENSITIVE | platform::OBJ_DONT_REPARSE,
      descriptor,
      nullptr};
  platform::IO_STATUS_BLOCK ioStatus = {};
  platform::KernelHandle handle;
  const platform::NTSTATUS status = api.ntCreateFile(
      handle.Receive(), request.access | platform::SYNCHRONIZE, &attributes, &ioStatus, nullptr,
      platform::FILE_ATTRIBUTE_NORMAL, request.share, request.disposition,
      request.kind | platform::FILE_OPEN_REPARSE_POINT | platform::FILE_SYNCHRONOUS_IO_NONALERT,
      nullptr, 0);
  if (status < 0) {
    // A failed creation should not return a handle. If it does, delete what it created.
    if (handle && request.disposition == platform::FILE_CREATE) MarkForDeletion(handle.Get());
    return RefuseWith<platform::KernelHandle>(api.rtlNtStatusToDosError(status));
  }
  if (!handle) platform::SetLastError(platform::ERROR_INVALID_HANDLE);
  return handle;
}

bool IsPlainFolder(platform::HANDLE handle) {
  return IsPlainObject(handle, platform::FILE_ATTRIBUTE_DIRECTORY);
}

bool IsPlainFile(platform::HANDLE handle) {
  return IsPlainObject(handle, 0);
}

}  // namespace vorn::privileged_input

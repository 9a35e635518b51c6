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

KernelHandle OpenNative(const NativeApi& api, platform::HANDLE parent, std::u16string_view name,
                        const OpenRequest& request,
                        const platform::SECURITY_DESCRIPTOR* descriptor) {
  if (api.ntCreateFile == nullptr || api.rtlNtStatusToDosError == nullptr ||
      name.size() > kMaxPathLength) {
    platform::SetLastError(platform::ERROR_PROC_NOT_FOUND);
    return {};
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
  KernelHandle handle;
  const platform::NTSTATUS status = api.ntCreateFile(
      handle.Receive(), request.access | platform::SYNCHRONIZE, &attributes, &ioStatus, nullptr,
      platform::FILE_ATTRIBUTE_NORMAL, request.share, request.disposition,
      request.kind | platform::FILE_OPEN_REPARSE_POINT | platform::FILE_SYNCHRONOUS_IO_NONALERT,
      nullptr, 0);
  if (status < 0) {
    // No failing creation should give a handle; if one does, what it made goes with the handle.
    if (handle && request.disposition == platform::FILE_CREATE) MarkForDeletion(handle.Get());
    platform::SetLastError(api.rtlNtStatusToDosError(status));
    return {};
  }
  if (!handle) {
    platform::SetLastError(platform::ERROR_INVALID_HANDLE);
    return {};
  }
  return handle;
}

bool IsPlainObject(platform::HANDLE handle, bool wantDirectory) {
  if (platform::GetFileType(handle) != platform::FILE_TYPE_DISK) {
    return RefuseWith(platform::ERROR_FILE_INVALID);
  }
  platform::FILE_ATTRIBUTE_TAG_INFO info = {};
  if (!platform::GetFileInformationByHandleEx(handle, platform::FileAttributeTagInfo, &info,
                                              sizeof info)) {
    return false;
  }
  const bool link = (info.FileAttributes & platform::FILE_ATTRIBUTE_REPARSE_POINT) != 0;
  const bool directory = (info.FileAttributes & platform::FILE_ATTRIBUTE_DIRECTORY) != 0;
  return (!link && directory == wantDirectory) || RefuseWith(platform::ERROR_FILE_INVALID);
}

}  // namespace vorn::privileged_input

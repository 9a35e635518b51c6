#include "privileged_input/deletion.h"

#include "platform/files.h"

namespace vorn::privileged_input {

namespace {

/// False only if the file is still read-only.
bool ClearReadOnly(platform::HANDLE file) {
  platform::FILE_BASIC_INFO info = {};
  if (!platform::GetFileInformationByHandleEx(file, platform::FileBasicInfo, &info, sizeof info)) {
    return true;
  }
  if ((info.FileAttributes & platform::FILE_ATTRIBUTE_READONLY) == 0) return true;
  info.FileAttributes &= ~platform::FILE_ATTRIBUTE_READONLY;
  // 0 would leave the attributes unchanged.
  if (info.FileAttributes == 0) info.FileAttributes = platform::FILE_ATTRIBUTE_NORMAL;
  return platform::SetFileInformationByHandle(file, platform::FileBasicInfo, &info, sizeof info);
}

}  // namespace

bool MarkForDeletion(platform::HANDLE handle) {
  const platform::FILE_DISPOSITION_INFO disposition = {1};
  return platform::SetFileInformationByHandle(handle, platform::FileDispositionInfo, &disposition,
                                              sizeof disposition);
}

bool DeleteByHandle(platform::HANDLE file) {
  return ClearReadOnly(file) && MarkForDeletion(file);
}

}  // namespace vorn::privileged_input

#pragma once

// The one native call that opens or creates every verified object: relative to a verified handle
// and without following a link.

#include "platform/files.h"
#include "platform/owners.h"
#include "platform/security.h"
#include "privileged_input/native_api.h"

#include <cstdint>
#include <string_view>

namespace vorn::privileged_input {

/// How to open; SYNCHRONIZE is added to the access.
struct OpenRequest {
  std::uint32_t access = 0;
  std::uint32_t disposition = 0;  // FILE_OPEN or FILE_CREATE
  std::uint32_t kind = 0;         // FILE_DIRECTORY_FILE or FILE_NON_DIRECTORY_FILE
  std::uint32_t share = platform::FILE_SHARE_READ;
};

extern const OpenRequest kOpenDirectory;      // a volume root or a folder in it
extern const OpenRequest kCreateDirectory;    // a folder that must not exist
extern const OpenRequest kOpenFile;           // for reading
extern const OpenRequest kOpenDeletableFile;  // for reading and deletion by handle
extern const OpenRequest kCreateFile;         // a file that must not exist

/// Opens `name` relative to `parent`, or the native path `name` if `parent` is null (NtCreateFile).
/// Empty on failure, with the last error set: the native status (RtlNtStatusToDosError),
/// ERROR_PROC_NOT_FOUND if the call is missing or the name too long for it, or ERROR_INVALID_HANDLE
/// if it succeeded without a handle.
platform::KernelHandle OpenNative(const NativeApi& api, platform::HANDLE parent,
                                  std::u16string_view name, const OpenRequest& request,
                                  const platform::SECURITY_DESCRIPTOR* descriptor = nullptr);

/// Whether the handle is a plain folder, or a plain file, on disk and not a link. The last error is
/// that of the failed query, else ERROR_FILE_INVALID.
bool IsPlainFolder(platform::HANDLE handle);
bool IsPlainFile(platform::HANDLE handle);

}  // namespace vorn::privileged_input

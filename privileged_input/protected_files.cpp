#include "privileged_input/protected_files.h"

#include "platform/last_error.h"
#include "privileged_input/access_control.h"
#include "privileged_input/native_api.h"

#include <utility>

namespace vorn::privileged_input {

File ProtectedFiles::OpenProtectedFile(const std::optional<AbsolutePath>& path) {
  if (path) {
    const auto kept = files_.find(path->Text());
    if (kept != files_.end()) return kept->second;
  }
  const NativeApi api = LoadNativeApi();
  if (!path) {
    platform::SetLastError(platform::ERROR_INVALID_NAME);
    return {};
  }
  File file = File::OpenAbsolute(*path, api, kMaxProtectedFileSize, FileMode::Deletable);
  if (!file || !HasProtectedOwnerAndDacl(file.Handle())) return {};
  Keep(*path, file);
  return file;
}

void ProtectedFiles::Keep(const AbsolutePath& path, File file) {
  files_.insert_or_assign(path.Text(), std::move(file));
}

void ProtectedFiles::Forget(const AbsolutePath& path) {
  files_.erase(path.Text());
}

}  // namespace vorn::privileged_input

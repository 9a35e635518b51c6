#include "privileged_input/protected_files.h"

#include "privileged_input/access_control.h"

namespace vorn::privileged_input {

File ProtectedFiles::OpenProtectedFile(const std::optional<AbsolutePath>& path) {
  if (path) {
    const auto kept = files_.find(path->Text());
    if (kept != files_.end()) return kept->second;
  }
  File file = File::OpenAbsolute(path, LoadNativeApi(), kMaxProtectedFileSize, FileMode::Deletable);
  if (!file || !HasProtectedOwnerAndDacl(file.Handle())) return {};
  Keep(*path, file);
  return file;
}

}  // namespace vorn::privileged_input

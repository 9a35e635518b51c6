#include "privileged_input/protected_files.h"

#include "platform/last_error.h"
#include "privileged_input/access_control.h"
#include "privileged_input/native_api.h"
#include "privileged_input/private_package.h"

#include <map>
#include <utility>

namespace vorn::privileged_input {

namespace {

std::map<std::u16string, File>& Cache() {
  static std::map<std::u16string, File> cache;
  return cache;
}

}  // namespace

File OpenProtectedFile(const std::u16string& path) {
  const auto cached = Cache().find(path);
  if (cached != Cache().end()) return cached->second;
  File file = File::OpenAbsolute(path, LoadNativeApi(), kMaxProtectedFileSize, FileMode::Deletable);
  if (!file || !HasProtectedOwnerAndDacl(file.Handle())) return {};
  CacheProtectedFile(path, file);
  return file;
}

File OpenInputFile(const std::u16string& path) {
  File snapshotInf = SnapshotInfFile();
  if (snapshotInf && snapshotInf.Path() == path) return snapshotInf;
  return File::OpenAbsolute(path, LoadNativeApi(), kMaxInputFileSize, FileMode::ReadOnly);
}

void CacheProtectedFile(const std::u16string& path, File file) {
  Cache().insert_or_assign(path, std::move(file));
}

void ForgetProtectedFile(const std::u16string& path) {
  Cache().erase(path);
}

void ReleaseProtectedFiles() {
  Cache().clear();
}

}  // namespace vorn::privileged_input

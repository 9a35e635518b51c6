#include "privileged_input/private_package.h"

#include "base/text.h"
#include "platform/crypto.h"
#include "platform/files.h"
#include "platform/last_error.h"
#include "platform/owners.h"
#include "platform/security.h"
#include "privileged_input/access_control.h"
#include "privileged_input/native_api.h"
#include "privileged_input/native_open.h"
#include "privileged_input/path_buffer.h"
#include "privileged_input/path_rules.h"
#include "privileged_input/refusal.h"
#include "report/console.h"

#include <utility>

namespace vorn::privileged_input {

namespace {

constexpr std::size_t kRandomByteCount = 16;

/// Empty on failure, with the last error set.
std::u16string SystemTemporaryFolder() {
  PathBuffer buffer;
  const std::uint32_t length = platform::GetTempPathW(kPathBufferLength, buffer.Data());
  if (length >= kPathBufferLength) platform::SetLastError(platform::ERROR_FILE_INVALID);
  return std::u16string(buffer.Text(length < kPathBufferLength ? length : 0));
}

Directory OpenTemporaryBase(std::u16string path, const NativeApi& api) {
  if (path.empty()) path = SystemTemporaryFolder();
  if (path.empty()) return {};
  while (path.size() > kDriveRootLength && path.back() == u'\\')
    path.pop_back();
  return Directory::OpenAbsolute(path, api);
}

/// An unpredictable name; empty on failure, with the last error set.
std::u16string DrawFolderName(const NativeApi& api) {
  std::uint8_t random[kRandomByteCount] = {};
  const platform::NTSTATUS status = platform::BCryptGenRandom(
      nullptr, random, sizeof random, platform::BCRYPT_USE_SYSTEM_PREFERRED_RNG);
  if (status < 0) return RefuseWith<std::u16string>(api.rtlNtStatusToDosError(status));
  return u"VORN-input-" + ToHexText(random);
}

bool FillPackage(const Directory& source, const Directory& base, const std::u16string& name,
                 const platform::SECURITY_DESCRIPTOR* descriptor, ProtectionCheck protection,
                 PackageData& data) {
  data.directories.push_back(Directory::CreateChild(base, name, descriptor));
  const Directory& root = data.directories.front();
  if (!root) return false;
  if (protection == ProtectionCheck::Verify && !HasProtectedOwnerAndDacl(root.Handle())) {
    return false;
  }
  // An empty folder can be turned into a link even while it is open. Now that it holds the
  // copy's folder it no longer can, so this check lasts.
  if (!IsPlainFolder(base.Handle())) return RefuseWith(platform::ERROR_REPARSE_TAG_INVALID);
  return CopyPackageTree(source, descriptor, protection, data);
}

}  // namespace

PrivatePackage PrivatePackage::Create(const AbsolutePath& infPath, std::u16string tempBase,
                                      const char16_t* sddl, ProtectionCheck protection) {
  if (infPath.Components().empty()) {
    return RefuseWith<PrivatePackage>(platform::ERROR_INVALID_NAME);
  }
  const NativeApi api = LoadNativeApi();
  const Directory folder = Directory::OpenAbsolute(infPath.Folder(), api);
  const File inf = File::Open(folder, infPath.Name(), kMaxInputFileSize, FileMode::ReadOnly);
  if (!inf) return {};
  const Directory base = OpenTemporaryBase(std::move(tempBase), api);
  if (!base) return {};
  platform::SecurityDescriptor descriptor;
  if (!platform::ConvertStringSecurityDescriptorToSecurityDescriptorW(
          sddl, platform::SDDL_REVISION_1, descriptor.Receive(), nullptr)) {
    return {};
  }
  const std::u16string name = DrawFolderName(api);
  if (name.empty()) return {};

  PrivatePackage package;
  package.data_ = std::make_shared<PackageData>();
  package.infName_ = infPath.Name();
  if (!FillPackage(folder, base, name, descriptor.Get(), protection, *package.data_)) return {};
  if (package.FindInfFile().file) return package;
  return RefuseWith<PrivatePackage>(platform::ERROR_FILE_INVALID);
}

PrivatePackage::PackageFile PrivatePackage::FindInfFile() const {
  if (data_ == nullptr) return {};
  for (const PackageFileEntry& entry : data_->files) {
    if (EqualsIgnoringCase(entry.relativePath, infName_)) return {data_, entry.file};
  }
  return {};
}

bool AcquirePackageSnapshot(const std::optional<AbsolutePath>& infPath, PackageSnapshot& snapshot) {
  snapshot.inf = {};
  snapshot.package = {};
  if (infPath) {
    snapshot.package = PrivatePackage::Create(*infPath, {}, kPackageSddl, ProtectionCheck::Verify);
  }
  snapshot.inf = snapshot.package.FindInfFile();
  if (snapshot.inf.file) return true;
  PrintError(u"vorn_devnode: protected local package snapshot refused (error 0x%08lX)\n",
             platform::GetLastError());
  return false;
}

}  // namespace vorn::privileged_input

#include "package/package_cleanup.h"

#include "base/path_text.h"
#include "base/text.h"
#include "package/content_hash.h"
#include "package/published_package.h"
#include "package/windows_inf_folder.h"
#include "platform/files.h"
#include "platform/inf.h"
#include "platform/last_error.h"
#include "privileged_input/directory.h"
#include "privileged_input/file.h"
#include "privileged_input/native_api.h"
#include "report/console.h"

#include <algorithm>
#include <optional>

namespace vorn {

namespace {

using privileged_input::Directory;
using privileged_input::DirectoryEntry;
using privileged_input::File;

constexpr std::size_t kMaxInfFolderEntries = 200000;

enum class Verdict { NotOurs, Ours, Doubtful };

/// Compares everything that publication leaves unchanged.
bool HasSameIdentity(const InfIdentity& published, const InfIdentity& expected) {
  constexpr std::u16string InfIdentity::*kFields[] = {
      &InfIdentity::originalInfName, &InfIdentity::originalCatalogName, &InfIdentity::providerName,
      &InfIdentity::className,       &InfIdentity::classGuid,           &InfIdentity::catalogFile,
      &InfIdentity::driverDate,      &InfIdentity::driverVersion,       &InfIdentity::infSha256};
  return std::all_of(std::begin(kFields), std::end(kFields), [&](auto field) {
    return EqualsIgnoringCase(published.*field, expected.*field);
  });
}

bool IsExactCopy(const InfIdentity& published, const InfIdentity& expected) {
  return expected.publishedInfName.empty() && IsPublishedOemInfName(published.publishedInfName) &&
         HasExactPackageContract(expected) && HasExactPackageContract(published) &&
         HasSameIdentity(published, expected);
}

bool MayBePublishedInf(const DirectoryEntry& entry) {
  constexpr std::uint32_t kNoPlainFile =
      platform::FILE_ATTRIBUTE_DIRECTORY | platform::FILE_ATTRIBUTE_REPARSE_POINT;
  return (entry.attributes & kNoPlainFile) == 0 && IsPublishedOemInfName(entry.name);
}

/// Compares the bytes first; an INF that cannot be read is not ours. Most published INFs are other
/// makers', and nearly all of these differ in size already, so they need not be read. The file is
/// closed on return, because an open file cannot be uninstalled.
Verdict JudgePackage(const Directory& infFolder, const PublishedPlace& place,
                     const InfIdentity& expected) {
  const File file = File::Open(infFolder, place.name, privileged_input::kMaxInputFileSize,
                               privileged_input::FileMode::ReadOnly);
  if (!file || file.Size() != expected.infSize) return Verdict::NotOurs;
  const std::optional<std::u16string> hash = HashFileSha256(file);
  if (!hash || !EqualsIgnoringCase(*hash, expected.infSha256)) return Verdict::NotOurs;
  const std::optional<InfIdentity> published = ReadPublishedIdentity(file, *hash, place);
  return published && IsExactCopy(*published, expected) ? Verdict::Ours : Verdict::Doubtful;
}

/// In listing order; nothing if the folder cannot be listed or any package is doubtful.
std::optional<std::vector<std::u16string>> CollectExactPackages(const std::u16string& infFolderPath,
                                                                const InfIdentity& expected) {
  const Directory infFolder =
      Directory::OpenAbsolute(infFolderPath, privileged_input::LoadNativeApi());
  std::vector<DirectoryEntry> entries;
  if (!Directory::Enumerate(infFolder, entries, kMaxInfFolderEntries, MayBePublishedInf)) {
    return std::nullopt;
  }
  std::vector<std::u16string> names;
  for (const DirectoryEntry& entry : entries) {
    const Verdict verdict =
        JudgePackage(infFolder, {entry.name, JoinPath(infFolderPath, entry.name)}, expected);
    if (verdict == Verdict::Doubtful) {
      PrintError(
          u"vorn_devnode: exact-hash package %ls changed or failed structured identity validation; "
          u"retaining all remaining packages\n",
          entry.name);
      return std::nullopt;
    }
    if (verdict == Verdict::Ours) names.push_back(entry.name);
  }
  return names;
}

/// Whether the package is gone; only one that this call removed is counted.
bool UninstallPackage(const std::u16string& name, std::uint32_t& removed) {
  if (platform::SetupUninstallOEMInfW(name.c_str(), 0)) {
    ++removed;
    Print(u"vorn_devnode: removed authenticated driver package %ls\n", name);
    return true;
  }
  return platform::GetLastError() == platform::ERROR_FILE_NOT_FOUND ||
         ReportFailedCall(u"SetupUninstallOEMInf(exact VORN package)");
}

}  // namespace

std::optional<std::vector<std::u16string>> SelectExactPackages(const InfIdentity& expected) {
  if (!expected.publishedInfName.empty() || !HasExactPackageContract(expected)) {
    PrintError(
        u"vorn_devnode: expected uninstall INF does not carry the exact VORN package contract\n");
    return std::nullopt;
  }
  const std::optional<std::u16string> windowsFolder = ReadWindowsFolder();
  if (!windowsFolder) {
    ReportFailedCall(u"GetWindowsDirectory(package cleanup)");
    return std::nullopt;
  }
  std::optional<std::vector<std::u16string>> names =
      CollectExactPackages(*windowsFolder + u"\\" + kInfFolderName, expected);
  if (!names) return std::nullopt;
  std::sort(names->begin(), names->end());
  names->erase(std::unique(names->begin(), names->end()), names->end());
  return names;
}

std::optional<std::uint32_t> RemoveExactPackages(const InfIdentity& expected) {
  const std::optional<std::vector<std::u16string>> selected = SelectExactPackages(expected);
  if (!selected) return std::nullopt;
  std::uint32_t removed = 0;
  for (const std::u16string& name : *selected) {
    if (!UninstallPackage(name, removed)) return std::nullopt;
  }
  const std::optional<std::vector<std::u16string>> left = SelectExactPackages(expected);
  if (!left) return std::nullopt;
  if (left->empty()) return removed;
  PrintError(u"vorn_devnode: %zu authenticated VORN package(s) remain after cleanup\n",
             left->size());
  return std::nullopt;
}

}  // namespace vorn

#include "platform/simulated/driver_store.h"

#include "base/text.h"
#include "platform/files.h"
#include "platform/last_error.h"
#include "platform/simulated/calls.h"
#include "platform/simulated/driver_package.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/upper_case.h"

#include <algorithm>
#include <stdexcept>

namespace vorn::platform::simulated {

namespace {

template <class Packages>
auto FindPackage(Packages& packages, std::u16string_view publishedInf) {
  const auto found = std::find_if(packages.begin(), packages.end(), [&](const auto& package) {
    return IsSameName(package.publishedInf, publishedInf);
  });
  return found == packages.end() ? nullptr : &*found;
}

std::u16string FolderPrefixOf(std::u16string_view path) {
  const std::size_t end = path.find_last_of(u"\\/");
  return std::u16string(path.substr(0, end == std::u16string_view::npos ? 0 : end + 1));
}

std::u16string LastNameOf(std::u16string_view path) {
  return std::u16string(path.substr(path.find_last_of(u"\\/") + 1));
}

/// The package whose published INF has these bytes; null when there is none. Documented: a package
/// that is already in the store is not imported again.
const PublishedPackage* FindSameInf(const Machine& machine, const Bytes& inf) {
  for (const PublishedPackage& package : machine.store.packages) {
    if (ReadWholeFile(machine.files, PublishedInfPath(machine, package.publishedInf)) == inf) {
      return &package;
    }
  }
  return nullptr;
}

/// The package whose published INF is at that path; null when there is none.
const PublishedPackage* FindPublishedAt(const Machine& machine, std::u16string_view infPath) {
  const auto node = FindNode(machine.files, infPath);
  for (const PublishedPackage& package : machine.store.packages) {
    const std::u16string path = PublishedInfPath(machine, package.publishedInf);
    if (node && FindNode(machine.files, path) == node) return &package;
  }
  return nullptr;
}

std::u16string NextPublishedName(Machine& machine) {
  while (true) {
    std::u16string name = u"oem" + ToUtf16(RenderNumber(machine.store.nextNumber++)) + u".inf";
    const bool taken = machine.store.Find(name) != nullptr ||
                       FindNode(machine.files, PublishedInfPath(machine, name)).has_value();
    if (!taken) return name;
  }
}

/// The error of a package's files, all of which must exist and be listed in the catalog; 0 when
/// they are.
std::uint32_t CheckFiles(const Machine& machine, const std::u16string& folder, const Bytes& inf,
                         const DriverPackage& package) {
  if (package.catalog.empty()) return ERROR_NO_CATALOG_FOR_OEM_INF;
  const auto catalog = ReadAsSystem(machine.files, folder + package.catalog, nullptr);
  if (!catalog) return ERROR_NO_CATALOG_FOR_OEM_INF;
  if (!CatalogLists(*catalog, inf)) return ERROR_FILE_HASH_NOT_IN_CATALOG;
  for (const std::u16string& name : package.files) {
    std::uint32_t error = 0;
    const auto content = ReadAsSystem(machine.files, folder + name, &error);
    if (!content) return error;
    if (!CatalogLists(*catalog, *content)) return ERROR_FILE_HASH_NOT_IN_CATALOG;
  }
  return 0;
}

/// Whether somebody has the file open without delete sharing.
bool IsHeldAgainstDeletion(const FileSystem& files, NodeId node) {
  constexpr std::uint32_t kContentAccess =
      FILE_READ_DATA | FILE_WRITE_DATA | FILE_APPEND_DATA | FILE_EXECUTE | DELETE;
  for (auto open = files.opens.lower_bound({node, 0});
       open != files.opens.end() && open->first.node == node; ++open) {
    const bool takesPart = (open->second.access & kContentAccess) != 0;
    if (takesPart && (open->second.share & FILE_SHARE_DELETE) == 0) return true;
  }
  return false;
}

bool IsSelected(const Machine& machine, std::u16string_view publishedInf) {
  const auto& devices = machine.devices.devices;
  return std::any_of(devices.begin(), devices.end(), [&](const Device& device) {
    return IsSameName(device.publishedInf, publishedInf) ||
           IsSameName(device.pendingInf, publishedInf);
  });
}

}  // namespace

bool IsPublishedName(std::u16string_view name) {
  constexpr std::size_t kAffixes = 7;  // "oem" and ".inf"
  return name.size() > kAffixes && EqualsIgnoringCase(name.substr(0, 3), u"oem") &&
         EqualsIgnoringCase(name.substr(name.size() - 4), u".inf") &&
         std::all_of(name.begin() + 3, name.end() - 4, IsAsciiDigit);
}

const PublishedPackage* DriverStore::Find(std::u16string_view publishedInf) const {
  return FindPackage(packages, publishedInf);
}

PublishedPackage* DriverStore::Find(std::u16string_view publishedInf) {
  return FindPackage(packages, publishedInf);
}

std::u16string PublishedInfPath(const Machine& machine, std::u16string_view publishedInf) {
  std::u16string path = machine.files.windowsFolder + u"\\INF\\";
  path += publishedInf;
  return path;
}

std::optional<std::u16string> PublishPackage(Machine& machine, std::u16string_view infPath,
                                             std::u16string_view hardwareId, std::uint32_t* error) {
  std::uint32_t reason = 0;
  const auto refuse = [&](std::uint32_t code) {
    if (error != nullptr) *error = code;
    return std::nullopt;
  };
  const auto inf = ReadAsSystem(machine.files, infPath, &reason);
  if (!inf) return refuse(reason);
  const auto package = ReadDriverPackage(*inf, hardwareId, &reason);
  if (!package) return refuse(reason);
  if (!package->hasModel) return refuse(ERROR_NO_MORE_ITEMS);
  // A published INF stands for its package, which the store has already checked. Assumed: a bind
  // accepts an INF of the Windows INF folder, which the documentation calls unsupported and
  // installation logs show working. Question (inf-folder-bind): does the bind of a published INF
  // select its package again?
  if (const PublishedPackage* own = FindPublishedAt(machine, infPath)) return own->publishedInf;
  const std::u16string folder = FolderPrefixOf(infPath);
  if ((reason = CheckFiles(machine, folder, *inf, *package)) != 0) return refuse(reason);
  if (const PublishedPackage* same = FindSameInf(machine, *inf)) return same->publishedInf;

  PublishedPackage published;
  published.originalInf = LastNameOf(infPath);
  published.originalCatalog = package->catalog;
  if (!package->image.empty()) {
    auto image = ReadAsSystem(machine.files, folder + package->image, &reason);
    if (!image) return refuse(reason);
    published.image = std::move(*image);
  }
  published.publishedInf = NextPublishedName(machine);
  try {
    PutFile(machine.files, PublishedInfPath(machine, published.publishedInf), *inf);
  } catch (const std::invalid_argument&) {  // the Windows INF folder is on no volume, or a file
    return refuse(ERROR_PATH_NOT_FOUND);
  }
  machine.store.packages.push_back(std::move(published));
  return machine.store.packages.back().publishedInf;
}

void BindPackage(Machine& machine, std::u16string_view instanceId,
                 std::u16string_view publishedInf) {
  Device* device = machine.devices.Find(instanceId);
  const auto inf = ReadWholeFile(machine.files, PublishedInfPath(machine, publishedInf));
  if (device == nullptr || !inf) return;
  std::uint32_t error = 0;
  std::optional<DriverPackage> package;
  for (const std::u16string& id : device->hardwareIds) {
    package = ReadDriverPackage(*inf, id, &error);
    if (package && package->hasModel) break;
  }
  if (!package) return;
  device->publishedInf = publishedInf;
  device->pendingInf.clear();
  device->service = package->service;
  device->className = package->className;
  device->classGuid = package->classGuid;
  SetStringProperty(*device, kDriverVersionKey, package->version);
  SetStringProperty(*device, kDriverInfPathKey, publishedInf);
  SetStringProperty(*device, kServiceKey, package->service);
}

// Documented: without SUOI_FORCEDELETE a package that a device has selected, present or not, is in
// use. Assumed: an INF that somebody holds open against deletion stays, with a sharing violation.
// Question: what does SetupUninstallOEMInfW do while the published INF is held without delete
// sharing?
std::uint32_t UninstallPackage(Machine& machine, std::u16string_view publishedInf,
                               std::uint32_t flags) {
  if (!IsPublishedName(publishedInf)) return ERROR_NOT_AN_INSTALLED_OEM_INF;
  const PublishedPackage* package = machine.store.Find(publishedInf);
  if (package == nullptr) return ERROR_FILE_NOT_FOUND;
  if (package->uninstallError != 0) return package->uninstallError;
  const bool forced = (flags & SUOI_FORCEDELETE) != 0;
  if (!forced && IsSelected(machine, publishedInf)) return ERROR_INF_IN_USE_BY_DEVICES;
  if (package->uninstallKeepsFile) return 0;
  const std::u16string path = PublishedInfPath(machine, publishedInf);
  const auto node = FindNode(machine.files, path);
  if (!node) return ERROR_FILE_NOT_FOUND;
  if (IsHeldAgainstDeletion(machine.files, *node)) return ERROR_SHARING_VIOLATION;
  RemovePath(machine.files, path);
  std::erase_if(machine.store.packages, [&](const PublishedPackage& candidate) {
    return IsSameName(candidate.publishedInf, publishedInf);
  });
  return 0;
}

}  // namespace vorn::platform::simulated

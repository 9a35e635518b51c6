#pragma once

// The simulated machine's driver packages: which were published, under which names, and from what.

#include "platform/simulated/driver_image.h"
#include "platform/simulated/file_system.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::platform::simulated {

struct Machine;

struct PublishedPackage {
  std::u16string publishedInf;       // oem3.inf; the file is in the Windows INF folder
  std::u16string originalInf;        // vorn_audio.inf, as the platform reports it
  std::u16string originalCatalog;    // vorn_audio.cat
  Bytes image;                       // the package's .sys
  std::uint32_t uninstallError = 0;  // not 0: uninstalling it fails with this
  bool uninstallKeepsFile = false;   // uninstalling reports success but leaves the INF
  bool foreign = false;              // not the product's: the program must not change it

  friend bool operator==(const PublishedPackage&, const PublishedPackage&) = default;
};

struct DriverStore {
  std::vector<PublishedPackage> packages;
  std::uint32_t nextNumber = 0;     // of the next oem<n>.inf; numbers in use are skipped
  std::uint32_t updateError = 0;    // not 0: every bind fails with this
  bool updateNeedsRestart = false;  // every bind asks for a restart

  const PublishedPackage* Find(std::u16string_view publishedInf) const;
  PublishedPackage* Find(std::u16string_view publishedInf);

  friend bool operator==(const DriverStore&, const DriverStore&) = default;
};

/// Whether a name has the form of published INFs, oem<digits>.inf.
bool IsPublishedName(std::u16string_view name);

/// The path of a published INF.
std::u16string PublishedInfPath(const Machine& machine, std::u16string_view publishedInf);

/// Publishes the package whose INF is at `infPath`, or finds it already published (the same INF
/// bytes, or a published INF itself). Returns its published name. Nothing, with `*error`, when the
/// package is refused: it has no INF, no model for the hardware id, or no catalog that lists the
/// SHA-256 of the INF and of its files. `error` may be null.
std::optional<std::u16string> PublishPackage(Machine& machine, std::u16string_view infPath,
                                             std::u16string_view hardwareId,
                                             std::uint32_t* error = nullptr);

/// Selects a published package for a device: its service and its properties, without a restart.
void BindPackage(Machine& machine, std::u16string_view instanceId,
                 std::u16string_view publishedInf);

inline constexpr std::uint32_t SUOI_FORCEDELETE = 0x1;

/// Removes a published package from the store and its INF from the Windows INF folder. Returns 0 on
/// success, otherwise ERROR_NOT_AN_INSTALLED_OEM_INF for a name of another form,
/// ERROR_FILE_NOT_FOUND when the package or its INF is missing, ERROR_INF_IN_USE_BY_DEVICES when a
/// device, present or not, has selected it and `flags` do not force it, ERROR_SHARING_VIOLATION
/// while somebody holds the INF open against deletion, or the package's own `uninstallError`.
std::uint32_t UninstallPackage(Machine& machine, std::u16string_view publishedInf,
                               std::uint32_t flags);

// The contents of a driver package. A catalog of the simulated machine is a text with a line
// "sha256=<64 hexadecimal digits>" for each file that it covers.
struct PackageRecipe {
  std::u16string version = u"26.8.10.5";
  std::u16string date = u"08/10/2026";
  std::u16string infName = u"vorn_audio.inf";
  std::u16string catalogName = u"vorn_audio.cat";
  std::u16string provider = u"%ProviderName%";
  std::u16string providerName = u"VORN Audio";
  std::u16string className = u"MEDIA";
  std::u16string classGuid = u"{4d36e96c-e325-11ce-bfc1-08002be10318}";
  std::u16string hardwareId = u"Root\\VornAudio";
  std::u16string service = u"VornAudio";
  bool utf16 = false;          // encoding of the INF
  bool brokenCatalog = false;  // the catalog does not list the INF
  bool withoutCatalog = false;
  std::string extraInfText = {};  // appended, so that two packages of one version can differ
  std::optional<DriverImage> image = {};  // a sound image of `version` by default
};

/// The INF text of a recipe.
std::string InfText(const PackageRecipe& recipe);

/// Writes a package (INF, catalog, image) into a folder of the machine; returns the INF's path.
std::u16string WritePackage(FileSystem& files, std::u16string_view folder,
                            const PackageRecipe& recipe);

}  // namespace vorn::platform::simulated

#pragma once

// The simulated machine's driver packages: what was published, under which name, and from what.

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
  bool uninstallKeepsFile = false;   // success is reported but the INF stays
  bool foreign = false;              // somebody else's: nothing of this program may change it

  friend bool operator==(const PublishedPackage&, const PublishedPackage&) = default;
};

struct DriverStore {
  std::vector<PublishedPackage> packages;
  std::uint32_t nextNumber = 0;     // of the next oem<n>.inf; numbers in use are passed over
  std::uint32_t updateError = 0;    // not 0: every bind fails with this
  bool updateNeedsRestart = false;  // every bind asks for a restart

  const PublishedPackage* Find(std::u16string_view publishedInf) const;
  PublishedPackage* Find(std::u16string_view publishedInf);

  friend bool operator==(const DriverStore&, const DriverStore&) = default;
};

/// Whether a name has the form that published INFs get, oem<digits>.inf.
bool IsPublishedName(std::u16string_view name);

/// Where a published INF is.
std::u16string PublishedInfPath(const Machine& machine, std::u16string_view publishedInf);

/// Publishes the package whose INF is at `infPath`, or finds it already published (the same INF
/// bytes, or a published INF itself). Returns its published name; nothing, with `*error`, when it
/// is refused: no INF, no model for the hardware id, no catalog beside it that lists the INF's
/// SHA-256 and those of its files. `error` may be null.
std::optional<std::u16string> PublishPackage(Machine& machine, std::u16string_view infPath,
                                             std::u16string_view hardwareId,
                                             std::uint32_t* error = nullptr);

/// Selects a published package for a device: its service, its properties, and no restart yet.
void BindPackage(Machine& machine, std::u16string_view instanceId,
                 std::u16string_view publishedInf);

inline constexpr std::uint32_t SUOI_FORCEDELETE = 0x1;

/// Takes a published package out of the store and its INF out of the Windows INF folder. 0 on
/// success, else ERROR_NOT_AN_INSTALLED_OEM_INF for a name that is none, ERROR_FILE_NOT_FOUND when
/// there is no such package or its INF is missing, ERROR_INF_IN_USE_BY_DEVICES when a device,
/// present or not, has selected it and `flags` do not force it, ERROR_SHARING_VIOLATION while
/// somebody holds the INF open against deletion, or what the package was set to give.
std::uint32_t UninstallPackage(Machine& machine, std::u16string_view publishedInf,
                               std::uint32_t flags);

// What a driver package is made of. A catalog of the simulated machine is a text with the line
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
  std::string extraInfText = {};          // appended, so that two packages of a version differ
  std::optional<DriverImage> image = {};  // a sound image of `version` when not given
};

/// The INF text of a recipe.
std::string InfText(const PackageRecipe& recipe);

/// Writes a package (INF, catalog, image) into a folder of the machine; returns the INF's path.
std::u16string WritePackage(FileSystem& files, std::u16string_view folder,
                            const PackageRecipe& recipe);

}  // namespace vorn::platform::simulated

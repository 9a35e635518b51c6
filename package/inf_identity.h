#pragma once

// What one INF says of its driver package, read through SetupAPI from a verified file, and whether
// that is exactly the product's package. Nothing here trusts a file's name or place.

#include "package/driver_identity.h"

#include <optional>
#include <string>

namespace vorn::privileged_input {
class File;
}

namespace vorn {

/// Where a published INF lies.
struct PublishedPlace {
  std::u16string name;  // in the Windows INF folder
  std::u16string path;  // as the platform's INF functions are given it
};

/// The whole identity of one INF. Every text is as the platform reads it, strings substituted.
struct InfIdentity {
  std::u16string publishedInfName;     // as found in the Windows INF folder; empty for a source INF
  std::u16string originalInfName;      // file name before it was published
  std::u16string originalCatalogName;  // file name of the catalog before it was published
  std::u16string providerName;         // ProviderName of [Strings]
  std::u16string className;            // Class of [Version]
  std::u16string classGuid;            // ClassGuid of [Version]
  std::u16string catalogFile;          // CatalogFile of [Version]
  std::u16string driverDate;           // first field of DriverVer
  std::u16string driverVersion;        // second field of DriverVer
  std::u16string infSha256;            // of the file's bytes, 64 lower-case hexadecimal digits
  bool hasExactModel = false;          // a model line installs Root\VornAudio as the contract says
  bool hasExactService = false;        // the first AddService line installs VornAudio

  friend bool operator==(const InfIdentity&, const InfIdentity&) = default;
};

/// Reads the identity of an open INF. A published one is named by where it lies: its name in the
/// Windows INF folder and its path there, for which the platform is asked for the original file
/// names; a source INF by its own file name. Nothing when anything of it cannot be read; prints
/// nothing, and the last error is that of the call that failed, where one did.
std::optional<InfIdentity> ReadInfIdentity(const privileged_input::File& inf,
                                           const std::optional<PublishedPlace>& published = {});

/// Whether an identity names exactly the product's package: file names, provider, class, catalog,
/// a DriverVer, a digest, the model and the service. The published name is not looked at.
bool HasExactPackageContract(const InfIdentity& identity);

/// DriverVer of an INF.
struct DriverVer {
  std::u16string date;     // first field, 1 to kMaxDateLength units
  std::u16string version;  // second field, 1 to kMaxVersionLength units
};

/// Reads DriverVer of an open INF. Nothing when it cannot be read: an INF that does not open, or
/// that has no valid DriverVer, is reported on standard error, a file that is not open is not.
std::optional<DriverVer> ReadExpectedDriverVer(const privileged_input::File& inf);

/// What an open INF names: its DriverVer and its digest, with the service of the product, which is
/// not read. Nothing when either cannot be read; ReadExpectedDriverVer prints why where it does.
std::optional<DriverIdentity> ReadIdentity(const privileged_input::File& inf);

}  // namespace vorn

#pragma once

// What one INF says of its driver package, read through SetupAPI from a verified file, and whether
// that is exactly the product's package. Nothing here trusts a file's name or place.

#include <string>
#include <string_view>

namespace vorn::privileged_input {
class File;
}

namespace vorn {

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

/// Reads the identity of an INF. `file` is the verified file when the caller already holds it open;
/// with null, or one that is not open, `path` is opened as an input file. `publishedInfName` is
/// empty for a source INF; for a published one the original file names are asked of the platform
/// for `path`. True when everything could be read, whatever it says; after false the record's
/// content means nothing. Prints nothing; the last error is that of the call that failed, where one
/// did.
bool ReadInfIdentity(const std::u16string& path, std::u16string_view publishedInfName,
                     const privileged_input::File* file, InfIdentity& identity);

/// Whether an identity names exactly the product's package: file names, provider, class, catalog,
/// a DriverVer, a digest, the model and the service. The published name is not looked at.
bool HasExactPackageContract(const InfIdentity& identity);

/// Reads only DriverVer's date (1 to 32 units) and version (1 to 64 units). `path` and `file` as in
/// ReadInfIdentity. On failure both are empty; an INF that does not open, or that has no valid
/// DriverVer, is reported on standard error, a file that does not open is not.
bool ReadExpectedDriverVer(const std::u16string& path, const privileged_input::File* file,
                           std::u16string& date, std::u16string& version);

}  // namespace vorn

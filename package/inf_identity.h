#pragma once

// What an INF says about its driver package, read through SetupAPI from a verified file, and
// whether that is exactly the product's package. No file name or location is trusted.

#include "package/driver_identity.h"

#include <cstdint>
#include <optional>
#include <string>

namespace vorn::privileged_input {
class File;
}

namespace vorn {

/// Where a published INF is.
struct PublishedPlace {
  std::u16string name;  // in the Windows INF folder
  std::u16string path;  // for the platform's INF functions
};

/// The whole identity of one INF. Texts are as the platform reads them, with strings substituted.
struct InfIdentity {
  std::u16string publishedInfName;     // in the Windows INF folder; empty for a source INF
  std::u16string originalInfName;      // file name before publication
  std::u16string originalCatalogName;  // the catalog's file name before publication
  std::u16string providerName;         // ProviderName of [Strings]
  std::u16string className;            // Class of [Version]
  std::u16string classGuid;            // ClassGuid of [Version]
  std::u16string catalogFile;          // CatalogFile of [Version]
  std::u16string driverDate;           // first field of DriverVer
  std::u16string driverVersion;        // second field of DriverVer
  std::u16string infSha256;            // of the file's bytes, 64 lower-case hexadecimal digits
  std::uint64_t infSize = 0;           // of the file, in bytes
  bool hasExactModel = false;          // a model line installs Root\VornAudio by the exact section
  bool hasExactService = false;        // the first AddService line installs VornAudio

  friend bool operator==(const InfIdentity&, const InfIdentity&) = default;
};

/// Reads the identity of an open source INF, whose original names are its own file name and its
/// CatalogFile. Nothing if any part cannot be read, with the last error of the failed call; prints
/// nothing.
std::optional<InfIdentity> ReadInfIdentity(const privileged_input::File& inf);

/// As above of an INF that is `published` there: the original names come from the platform
/// (QueryOriginalNames). `infSha256` is the digest that the caller has read through the same open
/// file, which nobody can have changed since.
std::optional<InfIdentity> ReadPublishedIdentity(const privileged_input::File& inf,
                                                 std::u16string infSha256,
                                                 const PublishedPlace& published);

/// Whether an identity is exactly the product's: file names, provider, class, catalog, model and
/// service, with some DriverVer and digest. The published name is ignored.
bool HasExactPackageContract(const InfIdentity& identity);

struct DriverVer {
  std::u16string date;     // first field, 1 to kMaxDateLength units
  std::u16string version;  // second field, 1 to kMaxVersionLength units
};

/// Reads the DriverVer of an open INF. Nothing on failure, which is reported on standard error
/// unless `inf` is not open.
std::optional<DriverVer> ReadExpectedDriverVer(const privileged_input::File& inf);

/// Reads the DriverVer, as ReadExpectedDriverVer, and the digest of an open INF; the service is the
/// product's and is not read. Nothing if either cannot be read.
std::optional<DriverIdentity> ReadIdentity(const privileged_input::File& inf);

}  // namespace vorn

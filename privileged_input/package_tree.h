#pragma once

// The copy of a package's folder: what it consists of, how it is made, and how it goes. Whatever
// is created is entered here as soon as it exists, so that a copy that failed half-way goes too.

#include "platform/security.h"
#include "privileged_input/directory.h"
#include "privileged_input/file.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vorn::privileged_input {

/// Largest size of one copied file, and of all together, in bytes (512 MiB).
inline constexpr std::uint64_t kMaxPackageSize = 536870912;

/// Most names in one folder, and most entries in the whole tree.
inline constexpr std::size_t kMaxPackageEntries = 4096;

/// Most levels of folders below the package's folder.
inline constexpr std::uint32_t kMaxPackageDepth = 16;

/// One copied file.
struct PackageFileEntry {
  std::u16string relativePath;  // below the copy's folder
  File file;                    // the copy, or not open if copying failed
  Directory folder;             // that holds the copy
  FileIdentity identity;        // of the copy when it had been written
};

/// Every handle of a copy. Removes the copy when it is destroyed, the deepest folders first; what
/// cannot be removed is passed over, a different file that has taken a copy's name is left alone,
/// and the last error stays as it was.
struct PackageData {
  std::vector<Directory> directories;   // in order of creation; the first is the copy's folder
  std::vector<PackageFileEntry> files;  // in order of copying

  PackageData() = default;
  PackageData(const PackageData&) = delete;
  PackageData& operator=(const PackageData&) = delete;
  ~PackageData();
};

/// Whether a copy must prove that it got the owner and the access list that it was created with.
enum class ProtectionCheck { Skip, Verify };

/// Copies everything in `source` into the first directory of `data`, within the limits above
/// (ERROR_FILE_INVALID beyond them) and never through a link. Nothing but `data` refers to the copy
/// when this returns.
bool CopyPackageTree(const Directory& source, const platform::SECURITY_DESCRIPTOR* descriptor,
                     ProtectionCheck protection, PackageData& data);

}  // namespace vorn::privileged_input

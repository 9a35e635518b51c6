#pragma once

// The copy of a package's folder: its contents, how it is made, and how it is removed. Each object
// is recorded as soon as it exists, so that an incomplete copy is removed as well.

#include "platform/security.h"
#include "privileged_input/directory.h"
#include "privileged_input/file.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vorn::privileged_input {

inline constexpr std::uint64_t kMaxPackageSize = 536870912;  // bytes of all files (512 MiB)
inline constexpr std::size_t kMaxPackageEntries = 4096;      // in the whole tree
inline constexpr std::uint32_t kMaxPackageDepth = 16;        // folder levels below the package's

struct PackageFileEntry {
  std::u16string relativePath;  // below the copy's folder
  File file;                    // the copy; not open if copying failed
  Directory folder;             // of the copy
  FileIdentity identity;        // of the written copy
};

/// Every handle of a copy. The destructor removes the copy, deepest folders first, and preserves
/// the last error. It skips what cannot be removed and any other file that now has a copy's name.
struct PackageData {
  std::vector<Directory> directories;   // in order of creation; the first is the copy's folder
  std::vector<PackageFileEntry> files;  // in order of copying

  PackageData() = default;
  PackageData(const PackageData&) = delete;
  PackageData& operator=(const PackageData&) = delete;
  ~PackageData();
};

/// Whether to check that a copy has the owner and the access list that it was created with.
enum class ProtectionCheck { Skip, Verify };

/// Copies everything in `source` into the first directory of `data`, without following a link.
/// Beyond the limits above it fails with ERROR_FILE_INVALID. Only `data` refers to the copy.
bool CopyPackageTree(const Directory& source, const platform::SECURITY_DESCRIPTOR* descriptor,
                     ProtectionCheck protection, PackageData& data);

}  // namespace vorn::privileged_input

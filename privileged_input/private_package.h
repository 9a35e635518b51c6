#pragma once

// PrivatePackage: a copy of the whole folder that holds an INF, in a fresh folder that only
// LocalSystem and BUILTIN\Administrators can touch. What the program authenticates and what it
// hands to the platform's installer are then the same bytes.
//
// The package's data owns every handle of the copy, read-only and shared with readers only, and
// removes the copy when its last reference goes. One snapshot can be active in the process.

#include "privileged_input/file.h"
#include "privileged_input/package_tree.h"

#include <memory>
#include <string>

namespace vorn::privileged_input {

/// Owner Administrators; a protected DACL that grants full access to LocalSystem and Administrators
/// alone, inherited by files and folders.
inline constexpr char16_t kPackageSddl[] = u"O:BAD:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)";

class PrivatePackage {
 public:
  using FileEntry = PackageFileEntry;
  using Data = PackageData;

  /// A file of the package with what keeps the package alive.
  struct PackageFile {
    std::shared_ptr<Data> data;
    File file;  // declared after `data`, so that it is released before the copy is removed
  };

  /// No package.
  PrivatePackage() = default;

  /// Whether there is a package.
  explicit operator bool() const { return data_ != nullptr; }

  const std::shared_ptr<Data>& SharedData() const { return data_; }

  /// The INF's file name as it was given.
  const std::u16string& InfName() const { return infName_; }

  /// Copies the folder of `infPath` into a new folder below `tempBase`, the system's temporary
  /// folder if that is empty, with the descriptor of `sddl`. With `verifyProtection` the copy's
  /// folder and files must be protected by it indeed. On failure nothing of the copy is left and
  /// the last error says why.
  static PrivatePackage Create(const std::u16string& infPath, std::u16string tempBase,
                               const char16_t* sddl, bool verifyProtection);

  /// The first file whose relative path is the INF's name, whatever the case; empty when there is
  /// none.
  PackageFile FindInfFile() const;

 private:
  std::shared_ptr<Data> data_;
  std::u16string infName_;
};

/// Takes the process's snapshot of the package of `infPath`, after releasing any earlier one.
/// Returns whether the copy of the INF is open; otherwise says why on standard error.
bool AcquirePackageSnapshot(const std::u16string& infPath);

/// The path of the snapshot's INF; empty when there is no snapshot.
std::u16string SnapshotInfPath();

/// The snapshot's INF; not open when there is no snapshot.
File SnapshotInfFile();

/// Ends the snapshot and removes the copy. The last error stays as it was.
void ReleasePackageSnapshot();

}  // namespace vorn::privileged_input

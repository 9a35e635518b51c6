#pragma once

// PrivatePackage: a copy of the whole folder that holds an INF, in a fresh folder that only
// LocalSystem and BUILTIN\Administrators can touch. What the program authenticates and what it
// hands to the platform's installer are then the same bytes.
//
// The package's data owns every handle of the copy, read-only and shared with readers only, and
// removes the copy when its last reference goes.

#include "privileged_input/absolute_path.h"
#include "privileged_input/file.h"
#include "privileged_input/input_file.h"
#include "privileged_input/package_tree.h"

#include <memory>
#include <optional>
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
  /// folder if that is empty, with the descriptor of `sddl`. Where the protection is verified, the
  /// copy's folder and files must be protected by it indeed. On failure nothing of the copy is left
  /// and the last error says why.
  static PrivatePackage Create(const AbsolutePath& infPath, std::u16string tempBase,
                               const char16_t* sddl, ProtectionCheck protection);

  /// The first file whose relative path is the INF's name, whatever the case; empty when there is
  /// none.
  PackageFile FindInfFile() const;

 private:
  std::shared_ptr<Data> data_;
  std::u16string infName_;
};

/// The package that a command works on, for as long as it runs.
struct PackageSnapshot {
  PrivatePackage package;
  PrivatePackage::PackageFile inf;  // declared last: released before the copy is removed

  /// The copy of the INF.
  InputInf Input() const;
};

/// Takes the snapshot of the package of `infPath`, after releasing any earlier one in `snapshot`.
/// Returns whether the copy of the INF is open; otherwise says why on standard error, by the last
/// error that the refused path, if there is none, or the failed step has left.
bool AcquirePackageSnapshot(const std::optional<AbsolutePath>& infPath, PackageSnapshot& snapshot);

}  // namespace vorn::privileged_input

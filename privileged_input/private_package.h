#pragma once

// PrivatePackage: a copy of an INF's whole folder, in a new folder that only LocalSystem and
// BUILTIN\Administrators can access. It ensures that the platform's installer gets the very bytes
// that the program authenticated.
//
// PackageData owns every handle of the copy, read-only and shared with readers only, and removes
// the copy with its last reference.

#include "privileged_input/absolute_path.h"
#include "privileged_input/file.h"
#include "privileged_input/input_file.h"
#include "privileged_input/package_tree.h"

#include <memory>
#include <optional>
#include <string>

namespace vorn::privileged_input {

/// Owner Administrators; a protected DACL that grants full access only to LocalSystem and
/// Administrators, inherited by files and folders.
inline constexpr char16_t kPackageSddl[] = u"O:BAD:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)";

class PrivatePackage {
 public:
  /// A file of the package, which it keeps alive.
  struct PackageFile {
    std::shared_ptr<PackageData> data;
    File file;  // after `data`: closed before the copy is removed
  };

  PrivatePackage() = default;

  explicit operator bool() const { return data_ != nullptr; }

  const std::shared_ptr<PackageData>& SharedData() const { return data_; }

  /// Copies the folder of `infPath` into a new folder below `tempBase`, or below the system's
  /// temporary folder if that is empty, with the security descriptor `sddl`;
  /// ProtectionCheck::Verify checks the folder and its files against it. On failure sets the last
  /// error and leaves nothing.
  static PrivatePackage Create(const AbsolutePath& infPath, std::u16string tempBase,
                               const char16_t* sddl, ProtectionCheck protection);

  /// The file at the top of the copy with the INF's name, ignoring case; empty if there is none.
  PackageFile FindInfFile() const;

 private:
  std::shared_ptr<PackageData> data_;
  std::u16string infName_;
};

/// The package that a command works on while it runs.
struct PackageSnapshot {
  PrivatePackage package;
  PrivatePackage::PackageFile inf;  // last: closed before the copy is removed

  /// The copy of the INF.
  InputInf Input() const { return {inf.file.Path(), inf.file}; }
};

/// Replaces the package in `snapshot` by that of `infPath`. Returns whether the copy of the INF is
/// open; if not, prints the last error, which without a path is that of parsing it.
bool AcquirePackageSnapshot(const std::optional<AbsolutePath>& infPath, PackageSnapshot& snapshot);

}  // namespace vorn::privileged_input

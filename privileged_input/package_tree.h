#pragma once

// The two ends of a package's copy: copying a folder with everything in it, and removing the copy.

#include "platform/security.h"
#include "privileged_input/directory.h"
#include "privileged_input/private_package.h"

namespace vorn::privileged_input {

/// Copies everything in `source` into the first directory of `data`, within the package's limits
/// (ERROR_FILE_INVALID beyond them) and never through a link. Whatever is created is in `data` as
/// soon as it exists, also on failure. Nothing else refers to the copy when this returns.
bool CopyPackageTree(const Directory& source, const platform::SECURITY_DESCRIPTOR* descriptor,
                     bool verifyProtection, PrivatePackage::Data& data);

/// Closes and deletes the files and folders of a copy, the deepest first, and empties `data`. What
/// fails is passed over. A different file that has taken the name of a copy is left alone.
void RemovePackageTree(PrivatePackage::Data& data);

}  // namespace vorn::privileged_input

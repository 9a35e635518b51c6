#pragma once

// Deletion through an open handle that carries DELETE access: the object that was checked goes, not
// whatever has its name by now. It goes when its last handle closes.

#include "platform/types.h"

namespace vorn::privileged_input {

/// Marks a file, or an empty folder, for deletion (SetFileInformationByHandle). The last error says
/// why not.
bool MarkForDeletion(platform::HANDLE handle);

/// Marks a file for deletion even if it is read-only: the attribute is cleared first, which needs
/// FILE_WRITE_ATTRIBUTES.
bool DeleteByHandle(platform::HANDLE file);

}  // namespace vorn::privileged_input

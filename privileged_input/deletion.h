#pragma once

// Deletion through an open handle with DELETE access, so that the object that was checked is
// deleted and not another one of the same name. It disappears when its last handle closes.

#include "platform/types.h"

namespace vorn::privileged_input {

/// Marks a file or an empty folder for deletion (SetFileInformationByHandle).
bool MarkForDeletion(platform::HANDLE handle);

/// Marks a file for deletion after clearing its read-only attribute, which needs
/// FILE_WRITE_ATTRIBUTES.
bool DeleteByHandle(platform::HANDLE file);

}  // namespace vorn::privileged_input

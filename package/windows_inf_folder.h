#pragma once

// The folder of published INFs, and how to open one of them without following a link.

#include "privileged_input/file.h"

#include <optional>
#include <string>

namespace vorn {

inline constexpr char16_t kInfFolderName[] = u"INF";

/// The Windows folder without a trailing backslash (GetWindowsDirectoryW). Nothing on failure or
/// beyond 32,767 units, with the last error of the call.
std::optional<std::u16string> ReadWindowsFolder();

/// The path of a published INF, for messages and the platform's INF functions.
std::u16string PublishedInfPath(const std::u16string& windowsFolder, const std::u16string& name);

/// Opens a published INF through verified handles, from the Windows folder down. Not open on
/// failure, with the last error set.
privileged_input::File OpenPublishedInf(const std::u16string& windowsFolder,
                                        const std::u16string& name);

}  // namespace vorn

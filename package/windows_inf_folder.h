#pragma once

// Where Windows keeps the INFs of published packages, and the way to one of them that no link can
// lead elsewhere.

#include "privileged_input/file.h"

#include <optional>
#include <string>

namespace vorn {

/// Name of the folder of INFs in the Windows folder.
inline constexpr char16_t kInfFolderName[] = u"INF";

/// The Windows folder, without a backslash at its end (GetWindowsDirectoryW). Nothing, with the
/// last error, when it has no answer of 1 to 32,767 units.
std::optional<std::u16string> ReadWindowsFolder();

/// The path of a published INF below the Windows folder, for messages and for the platform's INF
/// functions.
std::u16string PublishedInfPath(const std::u16string& windowsFolder, const std::u16string& name);

/// Opens a published INF handle by handle: the Windows folder, the folder of INFs in it, the file.
/// Not open, with the last error, when any of them is not what it should be.
privileged_input::File OpenPublishedInf(const std::u16string& windowsFolder,
                                        const std::u16string& name);

}  // namespace vorn

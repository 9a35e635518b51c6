#pragma once

// Where Windows keeps the INFs of published packages.

#include <string>

namespace vorn {

/// Name of the folder of INFs in the Windows folder.
inline constexpr char16_t kInfFolderName[] = u"INF";

/// The Windows folder, without a backslash at its end (GetWindowsDirectoryW). False with the last
/// error when it has no answer of 1 to 32,767 units.
bool ReadWindowsFolder(std::u16string& folder);

}  // namespace vorn

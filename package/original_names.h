#pragma once

// The file names that a published package had before Windows renamed its INF.

#include <string>
#include <string_view>

namespace vorn {

/// The text after the last backslash or slash; the whole text when there is none.
std::u16string_view FileNameComponent(std::u16string_view path);

/// Asks the platform for the names of the INF and the catalog that the INF at `path` was published
/// from, each as it reports them (SetupGetInfInformationW, SetupQueryInfOriginalFileInformationW).
/// False, with the last error of the call that failed, when it does not know.
bool QueryOriginalNames(const std::u16string& path, std::u16string& infName,
                        std::u16string& catalogName);

}  // namespace vorn

#pragma once

// The file names that a published package had before Windows renamed its INF.

#include <optional>
#include <string>

namespace vorn {

/// File names of a package as the platform reports them.
struct OriginalNames {
  std::u16string inf;
  std::u16string catalog;
};

/// Asks the platform for the names of the INF and the catalog that the INF at `path` was published
/// from (SetupGetInfInformationW, SetupQueryInfOriginalFileInformationW). Nothing, with the last
/// error of the call that failed, when it does not know.
std::optional<OriginalNames> QueryOriginalNames(const std::u16string& path);

}  // namespace vorn

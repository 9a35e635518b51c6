#pragma once

// The file names of a published package before Windows renamed its INF.

#include <optional>
#include <string>

namespace vorn {

struct OriginalNames {
  std::u16string inf;
  std::u16string catalog;
};

/// The names of the INF and the catalog from which the INF at `path` was published
/// (SetupGetInfInformationW, SetupQueryInfOriginalFileInformationW). Nothing on failure, with the
/// last error of the call.
std::optional<OriginalNames> QueryOriginalNames(const std::u16string& path);

}  // namespace vorn

#pragma once

// Uninstalls the product's published driver packages and proves that none is left. A package is
// removed only if its INF has the expected bytes and its whole identity matches. If the bytes match
// but the identity does not, every remaining package is kept.

#include "package/inf_identity.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vorn {

/// The published names of all packages that are exactly `expected`, the identity of a source INF,
/// sorted by code units, each once. Nothing if `expected` is not the product's package, if the
/// Windows INF folder cannot be listed (not reported), or if a package with the expected bytes has
/// another identity. Reports on standard error.
std::optional<std::vector<std::u16string>> SelectExactPackages(const InfIdentity& expected);

/// Uninstalls the selected packages (SetupUninstallOEMInfW), then selects again, which must find
/// none. Returns the number uninstalled; a package that was already gone does not count. Nothing
/// after the first failure. Prints progress and failures.
std::optional<std::uint32_t> RemoveExactPackages(const InfIdentity& expected);

}  // namespace vorn

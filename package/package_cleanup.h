#pragma once

// Uninstalls the product's published driver packages and proves that none is left. A package goes
// only when its INF is byte for byte the expected one and its whole identity matches; one that has
// the bytes but another identity stops everything.

#include "package/inf_identity.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vorn {

/// The published names of all packages that are exactly `expected`, an identity read from a source
/// INF, sorted by code units and without doubles. Nothing when `expected` is not the product's
/// package, the Windows INF folder cannot be listed, or a package with the expected bytes fails its
/// identity; what the caller must know is printed on standard error.
std::optional<std::vector<std::u16string>> SelectExactPackages(const InfIdentity& expected);

/// Uninstalls the selection and selects again, which must find nothing. Returns how many packages
/// were uninstalled; nothing when that could not be proven. The first package that cannot be
/// uninstalled ends it; one that has vanished meanwhile is neither counted nor a failure. Progress
/// goes to standard output, failures to standard error.
std::optional<std::uint32_t> RemoveExactPackages(const InfIdentity& expected);

}  // namespace vorn

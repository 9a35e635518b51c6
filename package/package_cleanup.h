#pragma once

// Uninstalls the product's published driver packages and proves that none is left. A package goes
// only when its INF is byte for byte the expected one and its whole identity matches; one that has
// the bytes but another identity stops everything.

#include "package/inf_identity.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vorn {

/// The published names of all packages that are exactly `expected`, an identity read from a source
/// INF, sorted by code units and without doubles. False, with an empty list, when `expected` is not
/// the product's package, the Windows INF folder cannot be listed, or a package with the expected
/// bytes fails its identity; what the caller must know is printed on standard error.
bool SelectExactPackages(const InfIdentity& expected, std::vector<std::u16string>& names);

/// Uninstalls the selection and selects again, which must find nothing. `removed` counts what was
/// uninstalled, also on failure. The first package that cannot be uninstalled ends it; one that has
/// vanished meanwhile is neither counted nor a failure. Progress goes to standard output, failures
/// to standard error.
bool RemoveExactPackages(const InfIdentity& expected, std::uint32_t& removed);

}  // namespace vorn

#pragma once

// Proof, from bytes, that the live root runs exactly the expected driver package. The platform's
// word for the bound version and service is not enough: two packages can carry the same DriverVer.

#include "base/check_result.h"
#include "package/driver_identity.h"

#include <string_view>

namespace vorn {

struct LiveRoot;

/// Whether a name is one that Windows gives to published packages: "oem", decimal digits, ".inf",
/// in any case, without a path.
bool IsPublishedOemInfName(std::u16string_view name);

/// Judges the version and service that the platform reports for the bound driver. Case is ignored;
/// an empty text on either side fails.
CheckResult CompareBoundIdentity(std::u16string_view expectedVersion,
                                 std::u16string_view expectedService,
                                 std::u16string_view boundVersion,
                                 std::u16string_view boundService);

/// Proves that `root` is bound to the package that `expected` names: the bound identity first, then
/// DriverVer and SHA-256 of the published INF, opened handle by handle in the Windows INF folder.
/// The first failure gives the reason. An INF without a readable DriverVer is also reported on
/// standard error by its reader.
CheckResult AuthenticatePublishedPackage(const DriverIdentity& expected, const LiveRoot& root);

}  // namespace vorn

#pragma once

// Proof that the live root is bound to exactly the expected driver package. The version and service
// that the platform reports do not suffice, because two packages can have the same DriverVer; the
// bytes of the INF decide.

#include "base/check_result.h"
#include "package/driver_identity.h"

#include <string_view>

namespace vorn {

struct LiveRoot;

/// Whether Windows gives published INFs such a name: "oem", decimal digits, ".inf", in any case,
/// without a path.
bool IsPublishedOemInfName(std::u16string_view name);

/// Compares the bound driver's version and service, ignoring case. Any empty text fails.
CheckResult CompareBoundIdentity(std::u16string_view expectedVersion,
                                 std::u16string_view expectedService,
                                 std::u16string_view boundVersion,
                                 std::u16string_view boundService);

/// Checks that `root` is bound to the package `expected`: first the bound identity, then DriverVer
/// and SHA-256 of the published INF (ReadIdentity, which also prints its failures). The reason is
/// that of the first failure.
CheckResult AuthenticatePublishedPackage(const DriverIdentity& expected, const LiveRoot& root);

}  // namespace vorn

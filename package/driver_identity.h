#pragma once

// DriverIdentity: the compact identity of a driver package.

#include <cstddef>
#include <string>

namespace vorn {

/// Longest accepted version and date of a DriverVer, in units.
inline constexpr std::size_t kMaxVersionLength = 64;
inline constexpr std::size_t kMaxDateLength = 32;

/// What an INF says about its package, as written there, and the digest of its bytes.
struct DriverIdentity {
  std::u16string version;    // second field of DriverVer, 1 to kMaxVersionLength units
  std::u16string date;       // first field of DriverVer, 1 to kMaxDateLength units
  std::u16string service;    // the driver's service
  std::u16string infSha256;  // SHA-256 of the INF's bytes, 64 hexadecimal digits

  friend bool operator==(const DriverIdentity&, const DriverIdentity&) = default;
};

}  // namespace vorn

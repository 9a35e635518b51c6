#pragma once

// DriverIdentity: the compact identity by which one driver package is named everywhere.

#include <cstddef>
#include <string>

namespace vorn {

/// Longest version and date of a DriverVer that are accepted, in units.
inline constexpr std::size_t kMaxVersionLength = 64;
inline constexpr std::size_t kMaxDateLength = 32;

/// What an INF says of its package, and the digest that pins its bytes. Texts stay as the INF has
/// them.
struct DriverIdentity {
  std::u16string version;    // second field of DriverVer, 1 to kMaxVersionLength units
  std::u16string date;       // first field of DriverVer, 1 to kMaxDateLength units
  std::u16string service;    // the driver's service
  std::u16string infSha256;  // SHA-256 of the INF's bytes, 64 hexadecimal digits

  friend bool operator==(const DriverIdentity&, const DriverIdentity&) = default;
};

}  // namespace vorn

#pragma once

// Whether a file or folder belongs to the system and only the system can change it.

#include "platform/types.h"

#include <cstdint>
#include <vector>

namespace vorn::privileged_input {

/// One entry of an access list.
struct AccessRule {
  std::uint8_t type = 0;   // ACCESS_ALLOWED_ACE_TYPE etc.
  std::uint32_t mask = 0;  // of an allow entry
  bool trusted = false;    // names LocalSystem or BUILTIN\Administrators

  friend bool operator==(const AccessRule&, const AccessRule&) = default;
};

/// Owner and access list of an open object.
struct Protection {
  bool ownerTrusted = false;      // LocalSystem or BUILTIN\Administrators
  bool daclValid = false;         // there is a DACL and it is well formed
  bool daclProtected = false;     // SE_DACL_PROTECTED: nothing is inherited
  std::vector<AccessRule> rules;  // in order
};

/// Whether the owner is trusted, the DACL exists and is protected, and no entry grants a modifying
/// right to anyone who is not trusted. Deny and audit entries pass; unknown entry types fail.
bool IsProtected(const Protection& protection);

/// Whether the open file or folder is protected (GetSecurityInfo). If not, or if that cannot be
/// read, the last error is ERROR_ACCESS_DENIED.
bool HasProtectedOwnerAndDacl(platform::HANDLE handle);

}  // namespace vorn::privileged_input

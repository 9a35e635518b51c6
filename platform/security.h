#pragma once

// Security descriptors, SIDs and ACLs as advapi32 shows them, and the process token's privileges.

#include "platform/types.h"

#include <cstdint>

namespace vorn::platform {

struct SID;                  // opaque, variable length
struct SECURITY_DESCRIPTOR;  // opaque, self-relative

struct ACL {
  std::uint8_t AclRevision;
  std::uint8_t Sbz1;
  std::uint16_t AclSize;  // bytes
  std::uint16_t AceCount;
  std::uint16_t Sbz2;
};
static_assert(sizeof(ACL) == 8);

struct ACE_HEADER {
  std::uint8_t AceType;
  std::uint8_t AceFlags;
  std::uint16_t AceSize;  // bytes
};
static_assert(sizeof(ACE_HEADER) == 4);

/// An access-allowed entry; the SID starts at `SidStart`.
struct ACCESS_ALLOWED_ACE {
  ACE_HEADER Header;
  std::uint32_t Mask;
  std::uint32_t SidStart;
};
static_assert(sizeof(ACCESS_ALLOWED_ACE) == 12);

inline constexpr std::uint8_t ACCESS_ALLOWED_ACE_TYPE = 0;
inline constexpr std::uint8_t ACCESS_DENIED_ACE_TYPE = 1;
inline constexpr std::uint8_t SYSTEM_AUDIT_ACE_TYPE = 2;

inline constexpr std::uint16_t SE_DACL_PROTECTED = 0x1000;

inline constexpr std::uint32_t SE_FILE_OBJECT = 1;
inline constexpr std::uint32_t OWNER_SECURITY_INFORMATION = 0x1;
inline constexpr std::uint32_t DACL_SECURITY_INFORMATION = 0x4;

inline constexpr std::uint32_t WinLocalSystemSid = 22;
inline constexpr std::uint32_t WinBuiltinAdministratorsSid = 26;

inline constexpr std::uint32_t SDDL_REVISION_1 = 1;

/// Owner and DACL of an open object (GetSecurityInfo without group and SACL). Returns an error
/// code, 0 on success. `*owner` and `*dacl` point into `*descriptor`, which the caller frees with
/// LocalFree; a descriptor without a DACL gives a null `*dacl`.
std::uint32_t GetSecurityInfo(HANDLE handle, std::uint32_t objectType, std::uint32_t information,
                              const SID** owner, const ACL** dacl,
                              SECURITY_DESCRIPTOR** descriptor);

/// Control flags of a descriptor (GetSecurityDescriptorControl).
bool GetSecurityDescriptorControl(const SECURITY_DESCRIPTOR* descriptor, std::uint16_t* control,
                                  std::uint32_t* revision);

/// Whether a SID is well formed (IsValidSid).
bool IsValidSid(const SID* sid);

/// Whether a SID is the well-known one of that type (IsWellKnownSid).
bool IsWellKnownSid(const SID* sid, std::uint32_t wellKnownSidType);

/// Whether an ACL is well formed (IsValidAcl).
bool IsValidAcl(const ACL* acl);

/// The entry at `index` of an ACL (GetAce); not owned.
bool GetAce(const ACL* acl, std::uint32_t index, const void** ace);

/// A descriptor from its SDDL text (ConvertStringSecurityDescriptorToSecurityDescriptorW). The
/// caller frees it with LocalFree. `size` may be null.
bool ConvertStringSecurityDescriptorToSecurityDescriptorW(const char16_t* text,
                                                          std::uint32_t revision,
                                                          SECURITY_DESCRIPTOR** descriptor,
                                                          std::uint32_t* size);

/// Frees a descriptor (LocalFree).
void LocalFree(SECURITY_DESCRIPTOR* descriptor);

struct LUID {
  std::uint32_t LowPart;
  std::int32_t HighPart;
};
static_assert(sizeof(LUID) == 8);

struct LUID_AND_ATTRIBUTES {
  LUID Luid;
  std::uint32_t Attributes;
};
static_assert(sizeof(LUID_AND_ATTRIBUTES) == 12);

/// TOKEN_PRIVILEGES with one entry.
struct TOKEN_PRIVILEGES {
  std::uint32_t PrivilegeCount;
  LUID_AND_ATTRIBUTES Privileges[1];
};
static_assert(sizeof(TOKEN_PRIVILEGES) == 16);

inline constexpr std::uint32_t TOKEN_QUERY = 0x0008;
inline constexpr std::uint32_t TOKEN_ADJUST_PRIVILEGES = 0x0020;
inline constexpr std::uint32_t SE_PRIVILEGE_ENABLED = 0x2;

/// The calling process's pseudo handle; needs no close (GetCurrentProcess).
HANDLE GetCurrentProcess();

/// Opens a process's token (OpenProcessToken). The caller closes it with CloseHandle.
bool OpenProcessToken(HANDLE process, std::uint32_t desiredAccess, HANDLE* token);

/// The local identifier of a privilege's name (LookupPrivilegeValueW on the local system).
bool LookupPrivilegeValueW(const char16_t* name, LUID* luid);

/// Enables or disables privileges of a token (AdjustTokenPrivileges without the previous state).
/// Success with ERROR_NOT_ALL_ASSIGNED as last error means that the token does not hold them.
bool AdjustTokenPrivileges(HANDLE token, bool disableAll, const TOKEN_PRIVILEGES* newState);

}  // namespace vorn::platform

#include "platform/security.h"

// clang-format off
#include "platform/windows/casts.h"
#include <aclapi.h>
#include <sddl.h>
// clang-format on

namespace vorn::platform {

using windows::As;

std::uint32_t GetSecurityInfo(HANDLE handle, std::uint32_t objectType, std::uint32_t information,
                              const SID** owner, const ACL** dacl,
                              SECURITY_DESCRIPTOR** descriptor) {
  return ::GetSecurityInfo(As<::HANDLE>(handle), static_cast<SE_OBJECT_TYPE>(objectType),
                           information, reinterpret_cast<PSID*>(const_cast<SID**>(owner)), nullptr,
                           reinterpret_cast<PACL*>(const_cast<ACL**>(dacl)), nullptr,
                           reinterpret_cast<PSECURITY_DESCRIPTOR*>(descriptor));
}

bool GetSecurityDescriptorControl(const SECURITY_DESCRIPTOR* descriptor, std::uint16_t* control,
                                  std::uint32_t* revision) {
  return ::GetSecurityDescriptorControl(As<PSECURITY_DESCRIPTOR>(descriptor), control,
                                        windows::AsDword(revision)) != 0;
}

bool IsValidSid(const SID* sid) {
  return ::IsValidSid(As<PSID>(sid)) != 0;
}

bool IsWellKnownSid(const SID* sid, std::uint32_t wellKnownSidType) {
  return ::IsWellKnownSid(As<PSID>(sid), static_cast<WELL_KNOWN_SID_TYPE>(wellKnownSidType)) != 0;
}

bool IsValidAcl(const ACL* acl) {
  return ::IsValidAcl(As<PACL>(acl)) != 0;
}

bool GetAce(const ACL* acl, std::uint32_t index, const void** ace) {
  return ::GetAce(As<PACL>(acl), index, const_cast<void**>(ace)) != 0;
}

bool ConvertStringSecurityDescriptorToSecurityDescriptorW(const char16_t* text,
                                                          std::uint32_t revision,
                                                          SECURITY_DESCRIPTOR** descriptor,
                                                          std::uint32_t* size) {
  return ::ConvertStringSecurityDescriptorToSecurityDescriptorW(
             windows::Wide(text), revision, reinterpret_cast<PSECURITY_DESCRIPTOR*>(descriptor),
             reinterpret_cast<PULONG>(size)) != 0;
}

void LocalFree(SECURITY_DESCRIPTOR* descriptor) {
  ::LocalFree(descriptor);
}

HANDLE GetCurrentProcess() {
  return As<HANDLE>(::GetCurrentProcess());
}

bool OpenProcessToken(HANDLE process, std::uint32_t desiredAccess, HANDLE* token) {
  return ::OpenProcessToken(As<::HANDLE>(process), desiredAccess,
                            reinterpret_cast<::HANDLE*>(token)) != 0;
}

bool LookupPrivilegeValueW(const char16_t* name, LUID* luid) {
  return ::LookupPrivilegeValueW(nullptr, windows::Wide(name), As<::LUID*>(luid)) != 0;
}

bool AdjustTokenPrivileges(HANDLE token, bool disableAll, const TOKEN_PRIVILEGES* newState) {
  return ::AdjustTokenPrivileges(As<::HANDLE>(token), disableAll ? TRUE : FALSE,
                                 As<::TOKEN_PRIVILEGES*>(newState), 0, nullptr, nullptr) != 0;
}

}  // namespace vorn::platform

#include "privileged_input/access_control.h"

#include "platform/files.h"
#include "platform/last_error.h"
#include "platform/owners.h"
#include "platform/security.h"
#include "privileged_input/refusal.h"

#include <algorithm>

namespace vorn::privileged_input {

namespace {

/// Every right to change an object or its access list, or to delete it.
constexpr std::uint32_t kModifyingAccess =
    platform::GENERIC_WRITE | platform::GENERIC_ALL | platform::MAXIMUM_ALLOWED |
    platform::WRITE_OWNER | platform::WRITE_DAC | platform::DELETE |
    platform::FILE_WRITE_ATTRIBUTES | platform::FILE_DELETE_CHILD | platform::FILE_WRITE_EA |
    platform::FILE_APPEND_DATA | platform::FILE_WRITE_DATA;
static_assert(kModifyingAccess == 0x520D0156);

bool IsHarmless(const AccessRule& rule) {
  switch (rule.type) {
    case platform::ACCESS_ALLOWED_ACE_TYPE:
      return (rule.mask & kModifyingAccess) == 0 || rule.trusted;
    case platform::ACCESS_DENIED_ACE_TYPE:
    case platform::SYSTEM_AUDIT_ACE_TYPE:
      return true;
    default:
      return false;
  }
}

bool IsTrusted(const platform::SID* sid) {
  return platform::IsValidSid(sid) &&
         (platform::IsWellKnownSid(sid, platform::WinLocalSystemSid) ||
          platform::IsWellKnownSid(sid, platform::WinBuiltinAdministratorsSid));
}

AccessRule ToRule(const void* ace) {
  AccessRule rule;
  rule.type = static_cast<const platform::ACE_HEADER*>(ace)->AceType;
  if (rule.type == platform::ACCESS_ALLOWED_ACE_TYPE) {
    const auto* allowed = static_cast<const platform::ACCESS_ALLOWED_ACE*>(ace);
    rule.mask = allowed->Mask;
    rule.trusted = IsTrusted(reinterpret_cast<const platform::SID*>(&allowed->SidStart));
  }
  return rule;
}

bool ReadRules(const platform::ACL* dacl, std::vector<AccessRule>& rules) {
  for (std::uint32_t i = 0; i < dacl->AceCount; ++i) {
    const void* ace = nullptr;
    if (!platform::GetAce(dacl, i, &ace) || ace == nullptr) return false;
    rules.push_back(ToRule(ace));
  }
  return true;
}

bool ReadProtection(platform::HANDLE handle, Protection& protection) {
  const platform::SID* owner = nullptr;
  const platform::ACL* dacl = nullptr;
  platform::SecurityDescriptor descriptor;
  const std::uint32_t error = platform::GetSecurityInfo(
      handle, platform::SE_FILE_OBJECT,
      platform::OWNER_SECURITY_INFORMATION | platform::DACL_SECURITY_INFORMATION, &owner, &dacl,
      descriptor.Receive());
  if (error != platform::ERROR_SUCCESS || !descriptor || owner == nullptr) return false;
  protection.ownerTrusted = IsTrusted(owner);
  protection.daclValid = dacl != nullptr && platform::IsValidAcl(dacl);
  std::uint16_t control = 0;
  std::uint32_t revision = 0;
  if (!platform::GetSecurityDescriptorControl(descriptor.Get(), &control, &revision)) return false;
  protection.daclProtected = (control & platform::SE_DACL_PROTECTED) != 0;
  return !protection.daclValid || ReadRules(dacl, protection.rules);
}

}  // namespace

bool IsProtected(const Protection& protection) {
  return protection.ownerTrusted && protection.daclValid && protection.daclProtected &&
         std::all_of(protection.rules.begin(), protection.rules.end(), IsHarmless);
}

bool HasProtectedOwnerAndDacl(platform::HANDLE handle) {
  Protection protection;
  return (ReadProtection(handle, protection) && IsProtected(protection)) ||
         RefuseWith(platform::ERROR_ACCESS_DENIED);
}

}  // namespace vorn::privileged_input

#include "capture/security_fact.h"

#include "capture/observation.h"
#include "platform/owners.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace vorn::capture {

namespace {

constexpr std::uint16_t SE_DACL_PRESENT = 0x0004;
constexpr std::uint16_t SE_DACL_AUTO_INHERITED = 0x0400;

/// Types of entries whose mask and SID follow the header directly: allowed, denied, audit, alarm,
/// the callback forms of these, and the integrity label.
constexpr std::uint8_t kPlainTypes[] = {0, 1, 2, 3, 9, 10, 13, 14, 17};
constexpr std::size_t kSidOffset = 8;

std::u16string TextOf(const platform::SID* sid) {
  return platform::IsValidSid(sid) ? SidText(sid) : std::u16string();
}

AccessEntryFact ToEntry(const void* ace) {
  const auto* const header = static_cast<const platform::ACE_HEADER*>(ace);
  AccessEntryFact entry = {.type = header->AceType, .flags = header->AceFlags};
  const bool plain = std::find(std::begin(kPlainTypes), std::end(kPlainTypes), entry.type) !=
                     std::end(kPlainTypes);
  if (header->AceSize < kSidOffset) return entry;
  std::memcpy(&entry.mask, static_cast<const std::uint8_t*>(ace) + sizeof *header,
              sizeof entry.mask);
  if (plain && header->AceSize > kSidOffset) {
    entry.sid = TextOf(
        reinterpret_cast<const platform::SID*>(static_cast<const std::uint8_t*>(ace) + kSidOffset));
  }
  return entry;
}

}  // namespace

SecurityFact ToFact(const platform::SECURITY_DESCRIPTOR* descriptor, const platform::SID* owner,
                    const platform::ACL* dacl) {
  SecurityFact fact;
  fact.owner = owner == nullptr ? std::u16string() : TextOf(owner);
  std::uint16_t control = 0;
  std::uint32_t revision = 0;
  if (platform::GetSecurityDescriptorControl(descriptor, &control, &revision)) {
    fact.daclProtected = (control & platform::SE_DACL_PROTECTED) != 0;
    fact.daclAutoInherited = (control & SE_DACL_AUTO_INHERITED) != 0;
    fact.daclPresent = (control & SE_DACL_PRESENT) != 0 && dacl != nullptr;
  }
  if (dacl == nullptr || !platform::IsValidAcl(dacl)) return fact;
  for (std::uint32_t i = 0; i < dacl->AceCount; ++i) {
    const void* ace = nullptr;
    if (platform::GetAce(dacl, i, &ace) && ace != nullptr) fact.entries.push_back(ToEntry(ace));
  }
  return fact;
}

std::optional<SecurityFact> ReadFileSecurity(platform::HANDLE file, std::uint32_t* error) {
  const platform::SID* owner = nullptr;
  const platform::ACL* dacl = nullptr;
  platform::SecurityDescriptor descriptor;
  *error = platform::GetSecurityInfo(
      file, platform::SE_FILE_OBJECT,
      platform::OWNER_SECURITY_INFORMATION | platform::DACL_SECURITY_INFORMATION, &owner, &dacl,
      descriptor.Receive());
  if (*error != 0 || !descriptor) return std::nullopt;
  return ToFact(descriptor.Get(), owner, dacl);
}

}  // namespace vorn::capture

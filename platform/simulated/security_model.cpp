#include "platform/simulated/security_model.h"

#include "platform/files.h"
#include "platform/security.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/security_values.h"

#include <algorithm>

namespace vorn::platform::simulated {

namespace {

constexpr char16_t kCreatorOwner[] = u"S-1-3-0";
constexpr char16_t kOwnerRights[] = u"S-1-3-4";

constexpr std::uint32_t kGenericRights =
    GENERIC_ALL | GENERIC_EXECUTE | GENERIC_WRITE | GENERIC_READ;

bool IsAllow(const AccessEntry& entry) {
  return entry.type == ACCESS_ALLOWED_ACE_TYPE || entry.type == ACCESS_ALLOWED_OBJECT_ACE_TYPE;
}
bool IsDeny(const AccessEntry& entry) {
  return entry.type == ACCESS_DENIED_ACE_TYPE || entry.type == ACCESS_DENIED_OBJECT_ACE_TYPE;
}

bool Applies(const AccessEntry& entry, const Token& token, bool owns) {
  if ((entry.flags & INHERIT_ONLY_ACE) != 0) return false;
  return Holds(token, entry.sid) || (owns && entry.sid == kOwnerRights);
}

std::uint32_t GrantedByList(const SecurityRecord& record, const Token& token, bool owns,
                            std::uint32_t desired) {
  if (!record.daclPresent) return desired;
  std::uint32_t granted = 0;
  std::uint32_t denied = 0;
  for (const AccessEntry& entry : record.entries) {
    if (!Applies(entry, token, owns)) continue;
    if (IsAllow(entry)) granted |= entry.mask & ~denied;
    if (IsDeny(entry)) denied |= entry.mask & ~granted;
  }
  return granted & desired;
}

/// Documented: an owner may always read and write the access list, unless it has an entry for owner
/// rights.
std::uint32_t GrantedByOwnership(const SecurityRecord& record, bool owns) {
  const bool restricted =
      std::any_of(record.entries.begin(), record.entries.end(),
                  [](const AccessEntry& entry) { return entry.sid == kOwnerRights; });
  return owns && !restricted ? READ_CONTROL | WRITE_DAC : 0;
}

std::uint32_t GrantedByPrivileges(const Token& token, const PrivilegedRights& privileged) {
  return (token.holdsBackup && token.backupEnabled ? privileged.backup : 0) |
         (token.holdsRestore && token.restoreEnabled ? privileged.restore : 0);
}

/// Whether a child of that kind inherits the entry, for itself or for its own children.
bool ReachesChild(const AccessEntry& entry, bool directory) {
  if ((entry.flags & CONTAINER_INHERIT_ACE) != 0 && directory) return true;
  if ((entry.flags & OBJECT_INHERIT_ACE) == 0) return false;
  return !directory || (entry.flags & NO_PROPAGATE_INHERIT_ACE) == 0;
}

/// The entries of a child that result from one entry of its parent.
void AppendInherited(const AccessEntry& entry, bool directory, const std::u16string& owner,
                     std::vector<AccessEntry>& entries) {
  const bool containers = (entry.flags & CONTAINER_INHERIT_ACE) != 0;
  const bool propagates = directory && (entry.flags & NO_PROPAGATE_INHERIT_ACE) == 0;
  const bool effective = !directory || containers;
  AccessEntry own = entry;
  own.flags = INHERITED_ACE;
  own.mask = MapFileRights(entry.mask);
  if (own.sid == kCreatorOwner) own.sid = owner;
  const bool rewritten = own.mask != entry.mask || own.sid != entry.sid;
  const auto passOn =
      static_cast<std::uint8_t>(entry.flags & (OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE));
  // An entry that changes when inherited is split: one entry for the child, the original for its
  // children.
  if (effective && propagates && !rewritten) {
    own.flags = static_cast<std::uint8_t>(own.flags | passOn);
    entries.push_back(own);
    return;
  }
  if (effective) entries.push_back(own);
  if (!propagates) return;
  AccessEntry further = entry;
  further.flags = static_cast<std::uint8_t>(INHERITED_ACE | INHERIT_ONLY_ACE | passOn);
  entries.push_back(further);
}

/// What a token grants on a new object when nothing is inherited. Documented: an elevated
/// administrator's default list gives full access to its owner and the system.
std::vector<AccessEntry> DefaultEntries(const std::u16string& owner) {
  return {{ACCESS_ALLOWED_ACE_TYPE, 0, FILE_ALL_ACCESS, owner},
          {ACCESS_ALLOWED_ACE_TYPE, 0, FILE_ALL_ACCESS, kLocalSystem}};
}

}  // namespace

bool Holds(const Token& token, std::u16string_view sid) {
  return std::find(token.sids.begin(), token.sids.end(), sid) != token.sids.end();
}

std::uint32_t MapFileRights(std::uint32_t access) {
  std::uint32_t mapped = access & ~kGenericRights;
  if ((access & GENERIC_READ) != 0) mapped |= FILE_GENERIC_READ;
  if ((access & GENERIC_WRITE) != 0) mapped |= FILE_GENERIC_WRITE;
  if ((access & GENERIC_EXECUTE) != 0) mapped |= FILE_GENERIC_EXECUTE;
  if ((access & GENERIC_ALL) != 0) mapped |= FILE_ALL_ACCESS;
  return mapped;
}

std::uint32_t GrantedRights(const SecurityRecord& record, const Token& token, std::uint32_t desired,
                            const PrivilegedRights& privileged) {
  const bool owns = !record.owner.empty() && Holds(token, record.owner);
  // No list can grant access to the audit list; that takes a privilege.
  const std::uint32_t listed = desired & ~ACCESS_SYSTEM_SECURITY;
  const std::uint32_t granted = GrantedByList(record, token, owns, listed) |
                                GrantedByOwnership(record, owns) |
                                GrantedByPrivileges(token, privileged);
  return granted & desired;
}

bool IsGranted(const SecurityRecord& record, const Token& token, std::uint32_t desired,
               const PrivilegedRights& privileged) {
  return GrantedRights(record, token, desired, privileged) == desired;
}

SecurityRecord InheritFrom(const SecurityRecord& parent, bool directory,
                           std::u16string_view owner) {
  SecurityRecord child;
  child.owner = owner;
  for (const AccessEntry& entry : parent.entries) {
    if (ReachesChild(entry, directory)) {
      AppendInherited(entry, directory, child.owner, child.entries);
    }
  }
  child.daclAutoInherited = !child.entries.empty();
  if (child.entries.empty()) child.entries = DefaultEntries(child.owner);
  return child;
}

}  // namespace vorn::platform::simulated

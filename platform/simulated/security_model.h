#pragma once

// Owners and access lists of the simulated machine as plain records, the part of SDDL that
// expresses them, and the access check.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::platform::simulated {

// Well-known identities, as text.
inline constexpr char16_t kLocalSystem[] = u"S-1-5-18";
inline constexpr char16_t kAdministrators[] = u"S-1-5-32-544";
inline constexpr char16_t kUsers[] = u"S-1-5-32-545";
inline constexpr char16_t kEveryone[] = u"S-1-1-0";
inline constexpr char16_t kAuthenticatedUsers[] = u"S-1-5-11";
inline constexpr char16_t kTrustedInstaller[] =
    u"S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464";
inline constexpr char16_t kOperator[] = u"S-1-5-21-1000000000-2000000000-3000000000-1001";
inline constexpr char16_t kOtherUser[] = u"S-1-5-21-1000000000-2000000000-3000000000-1002";

struct AccessEntry {
  std::uint8_t type = 0;   // ACCESS_ALLOWED_ACE_TYPE and its like
  std::uint8_t flags = 0;  // inheritance
  std::uint32_t mask = 0;
  std::u16string sid;

  friend bool operator==(const AccessEntry&, const AccessEntry&) = default;
};

/// A text that is not a SID stands for the bytes of a malformed SID; an empty owner or group means
/// none.
struct SecurityRecord {
  std::u16string owner = kAdministrators;
  std::u16string group = {};
  bool daclPresent = true;  // without a DACL everybody has full access
  bool daclProtected = false;
  bool daclAutoInherited = false;
  std::vector<AccessEntry> entries = {};

  /// A self-relative descriptor that is returned as it is instead, for tests of malformed ones. The
  /// access check ignores it.
  std::optional<std::vector<std::uint8_t>> image = {};

  friend bool operator==(const SecurityRecord&, const SecurityRecord&) = default;
};

/// A descriptor from SDDL text; nothing when the text is malformed. `*error`, if not null, receives
/// the Win32 code of the problem. Text without an owner gives an empty owner, text without "D:" no
/// DACL.
std::optional<SecurityRecord> ParseSddl(std::u16string_view text, std::uint32_t* error = nullptr);

/// The SDDL text of a descriptor.
std::u16string ToSddl(const SecurityRecord& record);

/// The descriptor that a new file or folder under `parent` gets by default.
SecurityRecord InheritFrom(const SecurityRecord& parent, bool directory, std::u16string_view owner);

/// An access mask with generic rights replaced by the rights of files.
std::uint32_t MapFileRights(std::uint32_t access);

/// The caller's identity: the SIDs of its token, and the privileges that override access lists.
struct Token {
  std::vector<std::u16string> sids = {kOperator, kAdministrators, kEveryone, kAuthenticatedUsers,
                                      kUsers};
  std::u16string owner = kAdministrators;  // owner of what it creates
  bool holdsBackup = true;                 // SeBackupPrivilege is in the token
  bool holdsRestore = true;                // SeRestorePrivilege is in the token
  bool backupEnabled = false;
  bool restoreEnabled = false;
};

/// Whether `sid` is one of the token's identities.
bool Holds(const Token& token, std::u16string_view sid);

/// Rights that an enabled privilege grants when the caller asks to use it: on files with
/// FILE_OPEN_FOR_BACKUP_INTENT, on keys with REG_OPTION_BACKUP_RESTORE.
struct PrivilegedRights {
  std::uint32_t backup = 0;
  std::uint32_t restore = 0;
};

/// Those rights of `desired` that are granted: by the list's entries in order, by ownership
/// (READ_CONTROL and WRITE_DAC), or by privileges. Generic rights must have been mapped.
std::uint32_t GrantedRights(const SecurityRecord& record, const Token& token, std::uint32_t desired,
                            const PrivilegedRights& privileged = {});

/// Whether all of `desired` is granted.
bool IsGranted(const SecurityRecord& record, const Token& token, std::uint32_t desired,
               const PrivilegedRights& privileged = {});

}  // namespace vorn::platform::simulated

#include "platform/simulated/descriptor_image.h"

#include "base/text.h"
#include "platform/simulated/security_values.h"

#include <array>
#include <charconv>
#include <cstring>
#include <limits>

namespace vorn::platform::simulated {

namespace {

using Image = std::vector<std::uint8_t>;

/// Documented: everything in a self-relative descriptor is aligned to 4 bytes.
constexpr std::size_t kAlignment = 4;

/// The mask, and in object entries also the flags that say which of two GUIDs follow.
constexpr std::size_t kMaskSize = 4;
constexpr std::size_t kObjectFlagsSize = 4;
constexpr std::size_t kGuidSize = 16;
constexpr std::uint32_t kObjectTypePresent = 1;
constexpr std::uint32_t kInheritedObjectTypePresent = 2;

template <class T>
void Append(Image& image, const T& value) {
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(&value);
  image.insert(image.end(), bytes, bytes + sizeof value);
}

template <class T>
T ReadAt(const void* start, std::size_t offset) {
  T value = {};
  std::memcpy(&value, static_cast<const std::uint8_t*>(start) + offset, sizeof value);
  return value;
}

bool IsObjectType(std::uint8_t type) {
  return type >= ACCESS_ALLOWED_OBJECT_ACE_TYPE && type <= SYSTEM_ALARM_OBJECT_ACE_TYPE;
}

bool HasMaskAndSid(std::uint8_t type) {
  return type <= SYSTEM_AUDIT_ACE_TYPE;
}

/// Decimal, or hexadecimal after "0x"; nothing when it is not a number up to `most`.
std::optional<std::uint64_t> Number(std::u16string_view text, std::uint64_t most) {
  const bool hex = text.starts_with(u"0x") || text.starts_with(u"0X");
  if (hex) text.remove_prefix(2);
  const std::uint64_t base = hex ? 16 : 10;
  if (text.empty()) return std::nullopt;
  std::uint64_t value = 0;
  for (const char16_t unit : text) {
    const char16_t lower = ToLowerAscii(unit);
    const bool letter = hex && lower >= u'a' && lower <= u'f';
    if (!IsAsciiDigit(unit) && !letter) return std::nullopt;
    const auto digit = static_cast<std::uint64_t>(letter ? lower - u'a' + 10 : unit - u'0');
    if (value > (most - digit) / base) return std::nullopt;
    value = value * base + digit;
  }
  return value;
}

struct SidParts {
  std::uint64_t authority = 0;
  std::vector<std::uint32_t> subAuthorities;
};

std::optional<SidParts> ParseSid(std::u16string_view text) {
  constexpr std::uint64_t kMostAuthority = 0xFFFFFFFFFFFF;
  constexpr std::u16string_view kStart = u"S-1-";
  if (text.size() < kStart.size() || !EqualsIgnoringCase(text.substr(0, kStart.size()), kStart)) {
    return std::nullopt;
  }
  text.remove_prefix(kStart.size());
  SidParts parts;
  bool first = true;
  while (true) {
    const std::size_t end = std::min(text.find(u'-'), text.size());
    const std::uint64_t most = first ? kMostAuthority : 0xFFFFFFFF;
    const std::optional<std::uint64_t> number = Number(text.substr(0, end), most);
    if (!number) return std::nullopt;
    if (first) {
      parts.authority = *number;
    } else {
      parts.subAuthorities.push_back(static_cast<std::uint32_t>(*number));
    }
    first = false;
    if (end == text.size()) break;
    text.remove_prefix(end + 1);
  }
  const bool fits =
      !parts.subAuthorities.empty() && parts.subAuthorities.size() <= kMostSubAuthorities;
  return fits ? std::optional(parts) : std::nullopt;
}

void AppendAce(Image& image, const AccessEntry& entry) {
  const std::size_t start = image.size();
  Append(image, ACE_HEADER{entry.type, entry.flags, 0});
  Append(image, entry.mask);
  if (IsObjectType(entry.type)) Append(image, std::uint32_t{0});  // neither GUID is present
  const Image sid = SidBytes(entry.sid);
  image.insert(image.end(), sid.begin(), sid.end());
  const auto size = static_cast<std::uint16_t>(image.size() - start);
  std::memcpy(image.data() + start + offsetof(ACE_HEADER, AceSize), &size, sizeof size);
}

void AppendAcl(Image& image, const std::vector<AccessEntry>& entries) {
  const std::size_t start = image.size();
  ACL acl{kAclRevision, 0, 0, static_cast<std::uint16_t>(entries.size()), 0};
  Append(image, acl);
  for (const AccessEntry& entry : entries) {
    if (IsObjectType(entry.type)) acl.AclRevision = kAclRevisionOfObjects;
    AppendAce(image, entry);
  }
  acl.AclSize = static_cast<std::uint16_t>(image.size() - start);
  std::memcpy(image.data() + start, &acl, sizeof acl);
}

std::uint32_t AppendSid(Image& image, const std::u16string& sid) {
  if (sid.empty()) return 0;
  const auto offset = static_cast<std::uint32_t>(image.size());
  const Image bytes = SidBytes(sid);
  image.insert(image.end(), bytes.begin(), bytes.end());
  return offset;
}

bool IsSoundSid(const std::uint8_t* bytes, std::size_t room) {
  if (room < sizeof(SidHeader)) return false;
  const auto header = ReadAt<SidHeader>(bytes, 0);
  if (header.revision != kSidRevision || header.subAuthorityCount > kMostSubAuthorities) {
    return false;
  }
  return sizeof(SidHeader) + std::size_t{4} * header.subAuthorityCount <= room;
}

/// The offset of an entry's SID from the start of the entry.
std::size_t SidOffset(const ACE_HEADER* ace) {
  const std::size_t plain = sizeof(ACE_HEADER) + kMaskSize;
  if (!IsObjectType(ace->AceType)) return plain;
  if (ace->AceSize < plain + kObjectFlagsSize) return ace->AceSize;
  const auto flags = ReadAt<std::uint32_t>(ace, plain);
  std::size_t offset = plain + kObjectFlagsSize;
  if ((flags & kObjectTypePresent) != 0) offset += kGuidSize;
  if ((flags & kInheritedObjectTypePresent) != 0) offset += kGuidSize;
  return offset;
}

bool HasSoundSid(const ACE_HEADER* ace) {
  const std::size_t offset = SidOffset(ace);
  if (offset > ace->AceSize) return false;
  return IsSoundSid(reinterpret_cast<const std::uint8_t*>(ace) + offset, ace->AceSize - offset);
}

std::u16string SidTextAt(const std::uint8_t* start, std::uint32_t offset) {
  return offset == 0 ? std::u16string() : SidText(reinterpret_cast<const SID*>(start + offset));
}

std::vector<AccessEntry> ReadEntries(const ACL* acl) {
  std::vector<AccessEntry> entries;
  for (std::uint32_t i = 0; i < acl->AceCount; ++i) {
    const ACE_HEADER* ace = FindAce(acl, i);
    AccessEntry entry;
    entry.type = ace->AceType;
    entry.flags = ace->AceFlags;
    if (HasSoundSid(ace)) {
      const auto* sid = reinterpret_cast<const std::uint8_t*>(ace) + SidOffset(ace);
      entry.mask = ReadAt<std::uint32_t>(ace, sizeof *ace);
      entry.sid = SidText(reinterpret_cast<const SID*>(sid));
    }
    entries.push_back(std::move(entry));
  }
  return entries;
}

void AppendDecimal(std::u16string& text, std::uint64_t value) {
  std::array<char, std::numeric_limits<std::uint64_t>::digits10 + 1> digits = {};
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
  text.append(digits.data(), end);
}

}  // namespace

std::vector<std::uint8_t> SidBytes(std::u16string_view text) {
  Image image;
  const std::optional<SidParts> parts = ParseSid(text);
  if (!parts) {
    Append(image, SidHeader{0, 0, {}});
    return image;
  }
  SidHeader header{kSidRevision, static_cast<std::uint8_t>(parts->subAuthorities.size()), {}};
  for (std::size_t i = 0; i < sizeof header.authority; ++i) {
    const std::size_t shift = 8 * (sizeof header.authority - 1 - i);
    header.authority[i] = static_cast<std::uint8_t>(parts->authority >> shift);
  }
  Append(image, header);
  for (const std::uint32_t subAuthority : parts->subAuthorities)
    Append(image, subAuthority);
  return image;
}

std::u16string SidText(const SID* sid) {
  if (!IsSoundSid(reinterpret_cast<const std::uint8_t*>(sid), SIZE_MAX)) return {};
  const auto header = ReadAt<SidHeader>(sid, 0);
  std::uint64_t authority = 0;
  for (const std::uint8_t byte : header.authority)
    authority = authority << 8 | byte;
  std::u16string text;
  text.reserve(48);  // room for the SID of a user
  text = u"S-1-";
  AppendDecimal(text, authority);
  for (std::size_t i = 0; i < header.subAuthorityCount; ++i) {
    text += u'-';
    AppendDecimal(text, ReadAt<std::uint32_t>(sid, sizeof header + 4 * i));
  }
  return text;
}

std::size_t SidLength(const SID* sid) {
  return sizeof(SidHeader) + std::size_t{4} * ReadAt<SidHeader>(sid, 0).subAuthorityCount;
}

bool IsSidText(std::u16string_view text) {
  return ParseSid(text).has_value();
}

std::vector<std::uint8_t> DescriptorBytes(const SecurityRecord& record, std::uint32_t information) {
  if (record.image) return *record.image;
  Image image;
  DescriptorHeader header{kDescriptorRevision, 0, SE_SELF_RELATIVE, 0, 0, 0, 0};
  Append(image, header);
  if ((information & OWNER_SECURITY_INFORMATION) != 0) {
    header.owner = AppendSid(image, record.owner);
  }
  if ((information & GROUP_SECURITY_INFORMATION) != 0) {
    header.group = AppendSid(image, record.group);
  }
  if ((information & DACL_SECURITY_INFORMATION) != 0) {
    const auto set = [&](bool condition, std::uint16_t flag) {
      if (condition) header.control = static_cast<std::uint16_t>(header.control | flag);
    };
    set(record.daclPresent, SE_DACL_PRESENT);
    set(record.daclProtected, SE_DACL_PROTECTED);
    set(record.daclAutoInherited, SE_DACL_AUTO_INHERITED);
    if (record.daclPresent) {
      header.dacl = static_cast<std::uint32_t>(image.size());
      AppendAcl(image, record.entries);
    }
  }
  std::memcpy(image.data(), &header, sizeof header);
  static_assert(sizeof header % kAlignment == 0);
  return image;
}

std::optional<SecurityRecord> ReadDescriptor(const SECURITY_DESCRIPTOR* descriptor) {
  const auto* start = reinterpret_cast<const std::uint8_t*>(descriptor);
  const auto header = ReadAt<DescriptorHeader>(start, 0);
  if (header.revision != kDescriptorRevision || (header.control & SE_SELF_RELATIVE) == 0) {
    return std::nullopt;
  }
  SecurityRecord record;
  record.owner = SidTextAt(start, header.owner);
  record.group = SidTextAt(start, header.group);
  const bool ownerLost = header.owner != 0 && record.owner.empty();
  const bool groupLost = header.group != 0 && record.group.empty();
  if (ownerLost || groupLost) return std::nullopt;
  record.daclPresent = (header.control & SE_DACL_PRESENT) != 0 && header.dacl != 0;
  record.daclProtected = (header.control & SE_DACL_PROTECTED) != 0;
  record.daclAutoInherited = (header.control & SE_DACL_AUTO_INHERITED) != 0;
  if (!record.daclPresent) return record;
  const auto* acl = reinterpret_cast<const ACL*>(start + header.dacl);
  if (!IsSoundAcl(acl)) return std::nullopt;
  record.entries = ReadEntries(acl);
  return record;
}

bool IsSoundAcl(const ACL* acl) {
  const bool revision =
      acl->AclRevision >= kAclRevision && acl->AclRevision <= kAclRevisionOfObjects;
  if (!revision || acl->AclSize < sizeof(ACL)) return false;
  const auto* start = reinterpret_cast<const std::uint8_t*>(acl);
  std::size_t at = sizeof(ACL);
  for (std::uint32_t i = 0; i < acl->AceCount; ++i) {
    if (at + sizeof(ACE_HEADER) > acl->AclSize) return false;
    const auto* ace = reinterpret_cast<const ACE_HEADER*>(start + at);
    const bool fits = ace->AceSize >= sizeof(ACE_HEADER) && ace->AceSize % kAlignment == 0 &&
                      at + ace->AceSize <= acl->AclSize;
    if (!fits) return false;
    const bool known = HasMaskAndSid(ace->AceType) || IsObjectType(ace->AceType);
    if (known && !HasSoundSid(ace)) return false;
    at += ace->AceSize;
  }
  return true;
}

const ACE_HEADER* FindAce(const ACL* acl, std::uint32_t index) {
  if (index >= acl->AceCount) return nullptr;
  const auto* start = reinterpret_cast<const std::uint8_t*>(acl);
  std::size_t at = sizeof(ACL);
  for (std::uint32_t i = 0;; ++i) {
    if (at + sizeof(ACE_HEADER) > acl->AclSize) return nullptr;
    const auto* ace = reinterpret_cast<const ACE_HEADER*>(start + at);
    if (i == index) return ace;
    if (ace->AceSize == 0) return nullptr;
    at += ace->AceSize;
  }
}

}  // namespace vorn::platform::simulated

#pragma once

// Security descriptors, access lists and SIDs as bytes in the platform's layout, because programs
// above the seam read real structures.

#include "platform/security.h"
#include "platform/simulated/security_model.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::platform::simulated {

/// The fixed part of a self-relative descriptor; offsets count from its start, 0 means absent.
struct DescriptorHeader {
  std::uint8_t revision;
  std::uint8_t sbz1;
  std::uint16_t control;
  std::uint32_t owner;
  std::uint32_t group;
  std::uint32_t sacl;
  std::uint32_t dacl;
};
static_assert(sizeof(DescriptorHeader) == 20);

/// The fixed part of a SID; `subAuthorityCount` 32-bit words follow.
struct SidHeader {
  std::uint8_t revision;
  std::uint8_t subAuthorityCount;
  std::uint8_t authority[6];  // high byte first
};
static_assert(sizeof(SidHeader) == 8);

inline constexpr std::uint8_t kSidRevision = 1;
inline constexpr std::uint8_t kMostSubAuthorities = 15;
inline constexpr std::uint8_t kDescriptorRevision = 1;
inline constexpr std::uint8_t kAclRevision = 2;
inline constexpr std::uint8_t kAclRevisionOfObjects = 4;

/// The bytes of a SID from its text ("S-1-5-18"); the bytes of an invalid SID for any other text.
std::vector<std::uint8_t> SidBytes(std::u16string_view text);

/// Text of a SID; empty when it is not valid.
std::u16string SidText(const SID* sid);

/// Bytes of a SID in memory.
std::size_t SidLength(const SID* sid);

/// Whether the text is a SID.
bool IsSidText(std::u16string_view text);

/// The self-relative descriptor of a record, or the record's own image if it has one. `information`
/// selects the parts.
std::vector<std::uint8_t> DescriptorBytes(const SecurityRecord& record,
                                          std::uint32_t information = 0xFFFFFFFF);

/// The record of a well-formed self-relative descriptor; nothing when it is malformed.
std::optional<SecurityRecord> ReadDescriptor(const SECURITY_DESCRIPTOR* descriptor);

/// Whether an access list is well formed: its revision, its sizes, and the SIDs of entries whose
/// form is known.
bool IsSoundAcl(const ACL* acl);

/// The entry at `index`; null when there is none.
const ACE_HEADER* FindAce(const ACL* acl, std::uint32_t index);

}  // namespace vorn::platform::simulated

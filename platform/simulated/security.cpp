#include "platform/security.h"

#include "platform/files.h"
#include "platform/last_error.h"
#include "platform/simulated/calls.h"
#include "platform/simulated/descriptor_image.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/file_open.h"
#include "platform/simulated/process.h"
#include "platform/simulated/security_values.h"

#include <cstring>
#include <new>

namespace vorn::platform {

namespace simulated {

namespace {

/// Precedes a block that the program frees.
struct alignas(16) BlockHeader {
  std::uintptr_t number;  // in the process's table
};

void FreeLocalBlock(BlockHeader* header) {
  ::operator delete (header, std::align_val_t{alignof(BlockHeader)});
}

/// A block of local memory, freed when the process ends.
class HeldBlock : public Object {
 public:
  explicit HeldBlock(BlockHeader* header) : header_(header) {}
  ~HeldBlock() override { FreeLocalBlock(header_); }

 private:
  BlockHeader* header_;
};

SECURITY_DESCRIPTOR* Allocate(const std::vector<std::uint8_t>& bytes) {
  void* memory =
      ::operator new (sizeof(BlockHeader) + bytes.size(), std::align_val_t{alignof(BlockHeader)});
  auto* header = new (memory) BlockHeader{0};
  header->number = Process::Current().Add(ObjectKind::Memory, std::make_shared<HeldBlock>(header));
  auto* content = reinterpret_cast<std::uint8_t*>(header + 1);
  std::memcpy(content, bytes.data(), bytes.size());
  return reinterpret_cast<SECURITY_DESCRIPTOR*>(content);
}

BlockHeader* HeaderOf(SECURITY_DESCRIPTOR* descriptor) {
  return reinterpret_cast<BlockHeader*>(descriptor) - 1;
}

DescriptorHeader HeaderAt(const SECURITY_DESCRIPTOR* descriptor) {
  DescriptorHeader header = {};
  std::memcpy(&header, descriptor, sizeof header);
  return header;
}

template <class T>
const T* PartAt(const SECURITY_DESCRIPTOR* descriptor, std::uint32_t offset) {
  const auto* start = reinterpret_cast<const std::uint8_t*>(descriptor);
  return offset == 0 ? nullptr : reinterpret_cast<const T*>(start + offset);
}

std::uint32_t GiveSecurity(const FileObject& file, std::uint32_t information, const SID** owner,
                           const ACL** dacl, SECURITY_DESCRIPTOR** descriptor) {
  if (!file.MayAny(READ_CONTROL)) return ERROR_ACCESS_DENIED;
  SECURITY_DESCRIPTOR* given = Allocate(DescriptorBytes(file.Read().security, information));
  const DescriptorHeader header = HeaderAt(given);
  if (owner != nullptr) *owner = PartAt<SID>(given, header.owner);
  const bool present = (header.control & SE_DACL_PRESENT) != 0;
  if (dacl != nullptr) *dacl = present ? PartAt<ACL>(given, header.dacl) : nullptr;
  *descriptor = given;
  return ERROR_SUCCESS;
}

struct WellKnown {
  std::uint32_t type;
  std::u16string_view sid;
};

// Documented: WELL_KNOWN_SID_TYPE numbers the well-known SIDs.
constexpr WellKnown kWellKnownSids[] = {
    {0, u"S-1-0-0"},
    {1, kEveryone},
    {3, u"S-1-3-0"},
    {9, u"S-1-5-2"},
    {11, u"S-1-5-4"},
    {12, u"S-1-5-6"},
    {13, u"S-1-5-7"},
    {17, kAuthenticatedUsers},
    {WinLocalSystemSid, kLocalSystem},
    {23, u"S-1-5-19"},
    {24, u"S-1-5-20"},
    {WinBuiltinAdministratorsSid, kAdministrators},
    {27, kUsers},
    {28, u"S-1-5-32-546"},
};

bool IsValid(const SID* sid) {
  return sid != nullptr && !SidText(sid).empty();
}

bool IsKnownAs(const SID* sid, std::uint32_t type) {
  const std::u16string text = sid == nullptr ? std::u16string() : SidText(sid);
  if (text.empty()) return false;
  for (const WellKnown& known : kWellKnownSids) {
    if (known.type == type) return known.sid == text;
  }
  return false;
}

}  // namespace

}  // namespace simulated

using namespace simulated;

std::uint32_t GetSecurityInfo(HANDLE handle, std::uint32_t objectType, std::uint32_t information,
                              const SID** owner, const ACL** dacl,
                              SECURITY_DESCRIPTOR** descriptor) {
  return SimulateCode<std::uint32_t>(
      "GetSecurityInfo",
      Arguments("handle", handle, "ObjectType", objectType, "SecurityInfo", Hex{information}),
      [&](const CallFaults&) -> std::uint32_t {
        const auto file = FindFile(Process::Current(), handle);
        if (file == nullptr) return ERROR_INVALID_HANDLE;
        if (objectType != SE_FILE_OBJECT) return ERROR_INVALID_PARAMETER;
        return GiveSecurity(*file, information, owner, dacl, descriptor);
      });
}

bool GetSecurityDescriptorControl(const SECURITY_DESCRIPTOR* descriptor, std::uint16_t* control,
                                  std::uint32_t* revision) {
  return SimulateBool("GetSecurityDescriptorControl", Arguments(), [&](const CallFaults&) {
    const DescriptorHeader header = HeaderAt(descriptor);
    if (header.revision != kDescriptorRevision) return FailWith(ERROR_UNKNOWN_REVISION);
    *control = header.control;
    *revision = header.revision;
    return true;
  });
}

bool IsValidSid(const SID* sid) {
  return SimulateBool("IsValidSid", Arguments(), [&](const CallFaults&) { return IsValid(sid); });
}

bool IsWellKnownSid(const SID* sid, std::uint32_t wellKnownSidType) {
  return SimulateBool("IsWellKnownSid", Arguments("WellKnownSidType", wellKnownSidType),
                      [&](const CallFaults&) { return IsKnownAs(sid, wellKnownSidType); });
}

bool IsValidAcl(const ACL* acl) {
  return SimulateBool("IsValidAcl", Arguments(), [&](const CallFaults&) {
    return (acl != nullptr && IsSoundAcl(acl)) || FailWith(ERROR_INVALID_ACL);
  });
}

bool GetAce(const ACL* acl, std::uint32_t index, const void** ace) {
  return SimulateBool("GetAce", Arguments("dwAceIndex", index), [&](const CallFaults&) {
    const ACE_HEADER* found = acl == nullptr ? nullptr : FindAce(acl, index);
    if (found == nullptr) return FailWith(ERROR_INVALID_PARAMETER);
    *ace = found;
    return true;
  });
}

bool ConvertStringSecurityDescriptorToSecurityDescriptorW(const char16_t* text,
                                                          std::uint32_t revision,
                                                          SECURITY_DESCRIPTOR** descriptor,
                                                          std::uint32_t* size) {
  return SimulateBool("ConvertStringSecurityDescriptorToSecurityDescriptorW",
                      Arguments("StringSecurityDescriptor", text, "StringSDRevision", revision),
                      [&](const CallFaults&) {
                        if (text == nullptr) return FailWith(ERROR_INVALID_PARAMETER);
                        if (revision != SDDL_REVISION_1) return FailWith(ERROR_UNKNOWN_REVISION);
                        std::uint32_t error = ERROR_SUCCESS;
                        const std::optional<SecurityRecord> record = ParseSddl(text, &error);
                        if (!record) return FailWith(error);
                        const std::vector<std::uint8_t> bytes = DescriptorBytes(*record);
                        *descriptor = Allocate(bytes);
                        if (size != nullptr) *size = static_cast<std::uint32_t>(bytes.size());
                        return true;
                      });
}

void LocalFree(SECURITY_DESCRIPTOR* descriptor) {
  Process& process = Process::Current();
  bool done = descriptor == nullptr;
  SimulateBool("LocalFree", Arguments("hMem", descriptor), [&](const CallFaults&) {
    if (!done) done = process.Remove(ObjectKind::Memory, HeaderOf(descriptor)->number);
    return done;
  });
  // The program's destructors free memory even in a process that was dead before this call.
  if (!done && process.killed) process.Remove(ObjectKind::Memory, HeaderOf(descriptor)->number);
}

}  // namespace vorn::platform

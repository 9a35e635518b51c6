#include "platform/registry.h"

#include "platform/files.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/file_values.h"
#include "platform/simulated/native_values.h"
#include "platform/simulated/process.h"
#include "platform/simulated/registry.h"
#include "platform/simulated/registry_values.h"
#include "platform/simulated/returned_data.h"

#include <algorithm>
#include <optional>

namespace vorn::platform {

namespace simulated {

namespace {

constexpr std::uint32_t kViewBits = KEY_WOW64_64KEY | KEY_WOW64_32KEY;
constexpr int kMostKeyLinks = 32;

struct KeyHandle : Object {
  KeyHandle(KeyId keyId, std::uint32_t access) : key(keyId), granted(access) {}

  const KeyId key;
  const std::uint32_t granted;
};

LSTATUS Code(std::uint32_t error) {
  return static_cast<LSTATUS>(error);
}

Registry& TheRegistry() {
  return Process::Current().TheMachine().registry;
}

// ------------------------------------------------------------------------------------------------
// Access.

std::uint32_t MapGeneric(std::uint32_t access) {
  std::uint32_t mapped = access & 0x0FFFFFFF & ~kViewBits;
  if ((access & (GENERIC_READ | GENERIC_EXECUTE)) != 0) mapped |= KEY_READ;
  if ((access & GENERIC_WRITE) != 0) mapped |= KEY_WRITE;
  if ((access & GENERIC_ALL) != 0) mapped |= KEY_ALL_ACCESS;
  return mapped;
}

/// All rights on a key that its descriptor grants to the process.
std::uint32_t MaximumAccess(const SecurityRecord& security) {
  return GrantedRights(security, Process::Current().token, KEY_ALL_ACCESS);
}

/// The rights of a handle opened with `desired`; nothing when they are denied.
std::optional<std::uint32_t> GrantAccess(KeyId key, std::uint32_t desired) {
  const SecurityRecord& security = SecurityOf(TheRegistry(), key);
  std::uint32_t access = MapGeneric(desired);
  std::uint32_t granted = 0;
  if ((access & MAXIMUM_ALLOWED) != 0) {
    access &= ~MAXIMUM_ALLOWED;
    granted = MaximumAccess(security);
  }
  if (access != 0 && !IsGranted(security, Process::Current().token, access)) return std::nullopt;
  return granted | access;
}

/// Documented: with REG_OPTION_BACKUP_RESTORE the requested access is ignored. The backup privilege
/// grants what reading takes, the restore privilege what writing and deleting take; without either
/// the open fails.
std::optional<std::uint32_t> GrantBackupRestore() {
  const Token& token = Process::Current().token;
  std::uint32_t granted = 0;
  if (token.holdsBackup && token.backupEnabled) granted |= KEY_READ | ACCESS_SYSTEM_SECURITY;
  if (token.holdsRestore && token.restoreEnabled) {
    granted |= KEY_WRITE | DELETE | WRITE_DAC | WRITE_OWNER | ACCESS_SYSTEM_SECURITY;
  }
  if (granted == 0) return std::nullopt;
  return granted;
}

// ------------------------------------------------------------------------------------------------
// From handles to keys.

/// The key that a handle refers to, or the error when there is none.
struct Target {
  std::uint32_t error = ERROR_SUCCESS;
  KeyId key = 0;
  std::uint32_t granted = 0;
};

Target TargetOf(HKEY handle) {
  Registry& registry = TheRegistry();
  if (handle == HKEY_LOCAL_MACHINE) {
    const KeyId key = registry.localMachine;
    return {ERROR_SUCCESS, key, MaximumAccess(SecurityOf(registry, key))};
  }
  const auto open =
      Process::Current().Find<KeyHandle>(ObjectKind::Key, reinterpret_cast<std::uintptr_t>(handle));
  if (open == nullptr) return {ERROR_INVALID_HANDLE};
  if (!registry.keys.contains(open->key)) return {ERROR_KEY_DELETED};
  return {ERROR_SUCCESS, open->key, open->granted};
}

/// The key that a symbolic link leads to, through any number of links; `key` itself when it is not
/// a link. A link that leads nowhere, or in a circle, has no target.
std::optional<KeyId> FollowLinks(const Registry& registry, KeyId key) {
  std::optional<KeyId> next = key;
  for (int i = 0; next && i < kMostKeyLinks; ++i) {
    const Key& record = registry.keys.at(*next);
    if (!record.linkTarget) return next;
    next = FindKey(registry, *record.linkTarget);
  }
  return std::nullopt;
}

/// The key at a path below `key`. Links on the way are followed; the last one is followed unless
/// the link itself is wanted. Documented: rights on the keys above the opened one are not checked.
std::optional<KeyId> FindBelow(const Registry& registry, KeyId key, std::u16string_view path,
                               bool openLink) {
  std::optional<KeyId> found = key;
  while (found && !path.empty()) {
    const std::size_t end = path.find(u'\\');
    const std::u16string_view name = path.substr(0, end);
    path.remove_prefix(end == std::u16string_view::npos ? path.size() : end + 1);
    if (name.empty()) continue;
    found = FindChild(registry, *found, name);
    if (found && !(openLink && path.empty())) found = FollowLinks(registry, *found);
  }
  return found;
}

/// Opens the key `subkey` below a handle, with `desired` access.
Target OpenBelow(HKEY handle, const char16_t* subkey, std::uint32_t options,
                 std::uint32_t desired) {
  const Target parent = TargetOf(handle);
  if (parent.error != ERROR_SUCCESS) return parent;
  const std::u16string_view path = subkey == nullptr ? u"" : subkey;
  if (path.starts_with(u'\\')) return {ERROR_BAD_PATHNAME};
  if ((desired & kViewBits) == kViewBits) return {ERROR_INVALID_PARAMETER};
  // The machine has no keys of the 32-bit view.
  if ((desired & KEY_WOW64_32KEY) != 0) return {ERROR_FILE_NOT_FOUND};
  const bool openLink = (options & REG_OPTION_OPEN_LINK) != 0;
  const auto key = FindBelow(TheRegistry(), parent.key, path, openLink);
  if (!key) return {ERROR_FILE_NOT_FOUND};
  const std::uint32_t planned = TheRegistry().keys.Get(*key).openError;
  if (planned != ERROR_SUCCESS) return {planned};
  const auto granted = (options & REG_OPTION_BACKUP_RESTORE) != 0 ? GrantBackupRestore()
                                                                  : GrantAccess(*key, desired);
  if (!granted) return {ERROR_ACCESS_DENIED};
  return {ERROR_SUCCESS, *key, *granted};
}

// ------------------------------------------------------------------------------------------------
// Enumeration.

LSTATUS Enumerate(HKEY handle, std::uint32_t index, char16_t* name, std::uint32_t* nameSize,
                  const CallFaults& faults) {
  const Target target = TargetOf(handle);
  if (target.error != ERROR_SUCCESS) return Code(target.error);
  if ((target.granted & KEY_ENUMERATE_SUB_KEYS) == 0) return Code(ERROR_ACCESS_DENIED);
  if (name == nullptr || nameSize == nullptr) return Code(ERROR_INVALID_PARAMETER);
  const Registry& registry = TheRegistry();
  const Key& key = registry.keys.at(target.key);
  if (key.listError != ERROR_SUCCESS) return Code(key.listError);
  const auto& children = key.children;
  if (index >= children.size()) return Code(ERROR_NO_MORE_ITEMS);
  std::u16string text = registry.keys.at(children[index]).name;
  SpoilLength(text, faults);
  // Assumed: RegEnumKeyExW leaves the size unchanged when the buffer is too small. Question: what
  // is in it after RegEnumKeyExW returned ERROR_MORE_DATA?
  if (text.size() >= *nameSize) return Code(ERROR_MORE_DATA);
  std::copy(text.begin(), text.end(), name);
  name[text.size()] = u'\0';
  *nameSize = static_cast<std::uint32_t>(text.size());
  return Code(ERROR_SUCCESS);
}

// ------------------------------------------------------------------------------------------------
// Values.

bool IsText(std::uint32_t type) {
  return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ;
}

/// The restriction flag of a type; 0 for types that have none.
std::uint32_t RestrictionOf(std::uint32_t type) {
  switch (type) {
    case REG_NONE:
    case REG_SZ:
    case REG_EXPAND_SZ:
    case REG_BINARY:
    case REG_DWORD:
      return std::uint32_t{1} << type;
    case REG_MULTI_SZ:
      return 0x20;
    case REG_QWORD:
      return 0x40;
    default:
      return 0;
  }
}

/// Documented: RegGetValueW refuses a value of a type that was not asked for, and a number of the
/// wrong length.
std::uint32_t CheckType(const RegistryValue& value, std::uint32_t restrictions) {
  if (restrictions == RRF_RT_ANY) return ERROR_SUCCESS;
  if ((RestrictionOf(value.type) & restrictions) == 0) return ERROR_UNSUPPORTED_TYPE;
  if (value.type == REG_BINARY) {
    if (restrictions == RRF_RT_DWORD && value.data.size() != 4) return ERROR_DATATYPE_MISMATCH;
    if (restrictions == RRF_RT_QWORD && value.data.size() != 8) return ERROR_DATATYPE_MISMATCH;
  }
  return ERROR_SUCCESS;
}

/// Documented: RegGetValueW returns texts with a terminator even when stored without one, and lists
/// of texts with two.
Bytes DataOf(const RegistryValue& value) {
  Bytes data = value.data;
  if (!IsText(value.type)) return data;
  if (data.size() % 2 != 0) data.push_back(0);
  const std::size_t zeros = value.type == REG_MULTI_SZ ? 4 : 2;
  const auto terminated = [&] {
    return data.size() >= zeros &&
           std::all_of(data.end() - static_cast<std::ptrdiff_t>(zeros), data.end(),
                       [](std::uint8_t byte) { return byte == 0; });
  };
  while (!terminated())
    data.resize(data.size() + 2);
  return data;
}

LSTATUS GiveData(Bytes data, void* buffer, std::uint32_t* size, const CallFaults& faults) {
  SpoilLength(data, faults);
  const auto length = static_cast<std::uint32_t>(data.size());
  const bool fits = buffer == nullptr || length <= *size;
  if (size != nullptr) *size = length;
  if (!fits) return Code(ERROR_MORE_DATA);
  if (buffer != nullptr) std::copy_n(data.begin(), length, static_cast<std::uint8_t*>(buffer));
  return Code(ERROR_SUCCESS);
}

LSTATUS ReadValue(HKEY handle, const char16_t* subkey, const char16_t* name, std::uint32_t flags,
                  std::uint32_t* type, void* data, std::uint32_t* size, const CallFaults& faults) {
  const std::uint32_t restrictions = flags & RRF_RT_ANY;
  if (data != nullptr && size == nullptr) return Code(ERROR_INVALID_PARAMETER);
  // Documented: expandable texts must be asked for unexpanded, or together with all other types.
  if ((restrictions & RRF_RT_REG_EXPAND_SZ) != 0 && restrictions != RRF_RT_ANY &&
      (flags & RRF_NOEXPAND) == 0) {
    return Code(ERROR_INVALID_PARAMETER);
  }
  const bool here = subkey == nullptr || *subkey == u'\0';
  const Target target =
      here ? TargetOf(handle) : OpenBelow(handle, subkey, 0, KEY_QUERY_VALUE | KEY_WOW64_64KEY);
  if (target.error != ERROR_SUCCESS) return Code(target.error);
  if ((target.granted & KEY_QUERY_VALUE) == 0) return Code(ERROR_ACCESS_DENIED);
  const Key& key = TheRegistry().keys.Get(target.key);
  const RegistryValue* value = FindValue(key, name == nullptr ? u"" : name);
  if (value == nullptr) return Code(ERROR_FILE_NOT_FOUND);
  if (type != nullptr) {
    // The model has no environment variables, so expanding a text only changes its type.
    const bool expanded = value->type == REG_EXPAND_SZ && (flags & RRF_NOEXPAND) == 0;
    *type = expanded ? REG_SZ : value->type;
  }
  const std::uint32_t error = CheckType(*value, restrictions);
  if (error != ERROR_SUCCESS) return Code(error);
  return GiveData(DataOf(*value), data, size, faults);
}

// ------------------------------------------------------------------------------------------------
// Deletion.

NTSTATUS Delete(HKEY handle) {
  const Target target = TargetOf(handle);
  if (target.error == ERROR_KEY_DELETED) return STATUS_KEY_DELETED;
  if (target.error != ERROR_SUCCESS || handle == HKEY_LOCAL_MACHINE) return STATUS_INVALID_HANDLE;
  if ((target.granted & DELETE) == 0) return STATUS_ACCESS_DENIED;
  Registry& registry = TheRegistry();
  const Key& key = registry.keys.Get(target.key);
  if (key.deleteStatus != STATUS_SUCCESS) return key.deleteStatus;
  // Documented: a key with subkeys cannot be deleted. Observed: Wine refuses to delete a key with
  // subkeys as STATUS_ACCESS_DENIED.
  if (!key.children.empty()) return STATUS_CANNOT_DELETE;
  RemoveKey(registry, target.key);
  return STATUS_SUCCESS;
}

}  // namespace

NTSTATUS SimulatedNtDeleteKey(HKEY key) {
  const auto status = SimulateCode<NTSTATUS>("NtDeleteKey", Arguments("key", key),
                                             [&](const CallFaults&) { return Delete(key); });
  // A planned failure may be an error code, which would mean success as a status. Informational
  // statuses are far above them.
  constexpr NTSTATUS kLargestErrorCode = 0xFFFF;
  return status > 0 && status <= kLargestErrorCode ? STATUS_UNSUCCESSFUL : status;
}

}  // namespace simulated

using namespace simulated;

LSTATUS RegOpenKeyExW(HKEY key, const char16_t* subkey, std::uint32_t options,
                      std::uint32_t desiredAccess, HKEY* result) {
  std::uintptr_t opened = 0;
  const auto status = SimulateCode<LSTATUS>(
      "RegOpenKeyExW",
      Arguments("key", key, "subkey", subkey, "options", Hex{options}, "desiredAccess",
                Hex{desiredAccess}),
      [&](const CallFaults&) {
        if (result == nullptr) return Code(ERROR_INVALID_PARAMETER);
        const Target target = OpenBelow(key, subkey, options, desiredAccess);
        if (target.error != ERROR_SUCCESS) return Code(target.error);
        opened = Process::Current().Add(ObjectKind::Key,
                                        std::make_shared<KeyHandle>(target.key, target.granted));
        return Code(ERROR_SUCCESS);
      });
  if (opened == 0) return status;
  // The program never learns of a key whose opening was made to fail afterwards.
  if (status != Code(ERROR_SUCCESS)) {
    Process::Current().Remove(ObjectKind::Key, opened);
  } else {
    *result = reinterpret_cast<HKEY>(opened);
  }
  return status;
}

LSTATUS RegEnumKeyExW(HKEY key, std::uint32_t index, char16_t* name, std::uint32_t* nameSize) {
  return SimulateCode<LSTATUS>(
      "RegEnumKeyExW",
      Arguments("key", key, "index", index, "nameSize", nameSize == nullptr ? 0 : *nameSize),
      [&](const CallFaults& faults) { return Enumerate(key, index, name, nameSize, faults); });
}

LSTATUS RegGetValueW(HKEY key, const char16_t* subkey, const char16_t* value, std::uint32_t flags,
                     std::uint32_t* type, void* data, std::uint32_t* size) {
  const std::uint32_t capacity = size == nullptr ? 0 : *size;
  return SimulateCode<LSTATUS>(
      "RegGetValueW",
      Arguments("key", key, "subkey", subkey, "value", value, "flags", Hex{flags}, "size",
                capacity),
      [&](const CallFaults& faults) {
        const LSTATUS status = ReadValue(key, subkey, value, flags, type, data, size, faults);
        if (status != Code(ERROR_SUCCESS) && (flags & RRF_ZEROONFAILURE) != 0 && data != nullptr) {
          std::fill_n(static_cast<std::uint8_t*>(data), capacity, std::uint8_t{0});
        }
        return status;
      });
}

LSTATUS RegCloseKey(HKEY key) {
  return SimulateCode<LSTATUS>("RegCloseKey", Arguments("key", key), [&](const CallFaults&) {
    const auto number = reinterpret_cast<std::uintptr_t>(key);
    const bool closed =
        key == HKEY_LOCAL_MACHINE || Process::Current().Remove(ObjectKind::Key, number);
    return Code(closed ? ERROR_SUCCESS : ERROR_INVALID_HANDLE);
  });
}

}  // namespace vorn::platform

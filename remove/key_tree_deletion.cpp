#include "remove/key_tree_deletion.h"

#include "base/text.h"
#include "platform/last_error.h"
#include "remove/registry_keys.h"

#include <algorithm>

namespace vorn {

namespace {

constexpr char16_t kLastSubkey[] = u"Properties";

bool EnablePrivilege(platform::HANDLE token, const char16_t* name) {
  platform::TOKEN_PRIVILEGES privileges = {};
  privileges.PrivilegeCount = 1;
  privileges.Privileges[0].Attributes = platform::SE_PRIVILEGE_ENABLED;
  return platform::LookupPrivilegeValueW(name, &privileges.Privileges[0].Luid) &&
         platform::AdjustTokenPrivileges(token, false, &privileges);
}

/// Each privilege is enabled separately, because a token may hold only one of them. Returns whether
/// every call succeeded; the next open shows whether that suffices.
bool EnableBackupAndRestore() {
  platform::KernelHandle token;
  if (!platform::OpenProcessToken(platform::GetCurrentProcess(),
                                  platform::TOKEN_ADJUST_PRIVILEGES | platform::TOKEN_QUERY,
                                  token.Receive())) {
    return false;
  }
  const bool backup = EnablePrivilege(token.Get(), u"SeBackupPrivilege");
  const bool restore = EnablePrivilege(token.Get(), u"SeRestorePrivilege");
  return backup && restore;
}

bool IsComplete(const privileged_input::KeyDeletionApi& api) {
  return api.ntDeleteKey != nullptr && api.rtlNtStatusToDosError != nullptr;
}

/// The properties prove the record's owner. They are deleted last, so that a record whose deletion
/// fails can still be recognised.
void MovePropertiesLast(std::vector<std::u16string>& names) {
  std::stable_partition(names.begin(), names.end(), [](const std::u16string& name) {
    return !EqualsIgnoringCase(name, kLastSubkey);
  });
}

}  // namespace

std::uint32_t KeyTreeDeleter::OpenForDeletion(platform::HKEY parent, const std::u16string& name,
                                              platform::RegistryKey& key) {
  const platform::LSTATUS status =
      platform::RegOpenKeyExW(parent, name.c_str(), 0,
                              platform::DELETE | platform::KEY_ENUMERATE_SUB_KEYS |
                                  platform::KEY_QUERY_VALUE | platform::KEY_WOW64_64KEY,
                              key.Receive());
  if (static_cast<std::uint32_t>(status) != platform::ERROR_ACCESS_DENIED) {
    return static_cast<std::uint32_t>(status);
  }
  if (!privilegesEnabled_) privilegesEnabled_ = EnableBackupAndRestore();
  return static_cast<std::uint32_t>(
      platform::RegOpenKeyExW(parent, name.c_str(), platform::REG_OPTION_BACKUP_RESTORE,
                              platform::KEY_WOW64_64KEY, key.Receive()));
}

std::uint32_t KeyTreeDeleter::DeleteOpenKey(platform::HKEY key) {
  if (!IsComplete(api_)) api_ = privileged_input::LoadKeyDeletionApi();
  if (!IsComplete(api_)) return platform::ERROR_PROC_NOT_FOUND;
  const platform::NTSTATUS status = api_.ntDeleteKey(key);
  return status < 0 ? api_.rtlNtStatusToDosError(status) : platform::ERROR_SUCCESS;
}

std::uint32_t KeyTreeDeleter::DeleteSubkeys(platform::HKEY key) {
  SubkeyListing listing = ListSubkeys(key);
  if (!listing.complete) return platform::ERROR_CANTREAD;
  MovePropertiesLast(listing.names);
  for (const std::u16string& name : listing.names) {
    const std::uint32_t error = DeleteKeyTree(key, name);
    if (error != platform::ERROR_SUCCESS) return error;
  }
  return platform::ERROR_SUCCESS;
}

std::uint32_t KeyTreeDeleter::DeleteKeyTree(platform::HKEY parentKey,
                                            const std::u16string& subkeyName) {
  platform::RegistryKey key;
  const std::uint32_t openError = OpenForDeletion(parentKey, subkeyName, key);
  if (openError == platform::ERROR_FILE_NOT_FOUND) return platform::ERROR_SUCCESS;
  if (openError != platform::ERROR_SUCCESS) return openError;
  const std::uint32_t error = DeleteSubkeys(key.Get());
  return error == platform::ERROR_SUCCESS ? DeleteOpenKey(key.Get()) : error;
}

}  // namespace vorn

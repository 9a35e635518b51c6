#include "base/text.h"
#include "platform/last_error.h"
#include "platform/owners.h"
#include "privileged_input/native_api.h"
#include "remove/endpoint_records.h"
#include "remove/registry_keys.h"

#include <algorithm>

namespace vorn {

namespace {

constexpr char16_t kLastSubkey[] = u"Properties";

void EnablePrivilege(platform::HANDLE token, const char16_t* name) {
  platform::TOKEN_PRIVILEGES privileges = {};
  privileges.PrivilegeCount = 1;
  privileges.Privileges[0].Attributes = platform::SE_PRIVILEGE_ENABLED;
  if (!platform::LookupPrivilegeValueW(name, &privileges.Privileges[0].Luid)) return;
  platform::AdjustTokenPrivileges(token, false, &privileges);
}

/// Each privilege is enabled separately, because a token may hold only one of them. The next open
/// shows whether that suffices.
void EnableBackupAndRestore() {
  platform::KernelHandle token;
  if (!platform::OpenProcessToken(platform::GetCurrentProcess(),
                                  platform::TOKEN_ADJUST_PRIVILEGES | platform::TOKEN_QUERY,
                                  token.Receive())) {
    return;
  }
  EnablePrivilege(token.Get(), u"SeBackupPrivilege");
  EnablePrivilege(token.Get(), u"SeRestorePrivilege");
}

std::uint32_t OpenForDeletion(platform::HKEY parent, const std::u16string& name,
                              platform::RegistryKey& key) {
  const platform::LSTATUS status =
      platform::RegOpenKeyExW(parent, name.c_str(), 0,
                              platform::DELETE | platform::KEY_ENUMERATE_SUB_KEYS |
                                  platform::KEY_QUERY_VALUE | platform::KEY_WOW64_64KEY,
                              key.Receive());
  if (static_cast<std::uint32_t>(status) != platform::ERROR_ACCESS_DENIED) {
    return static_cast<std::uint32_t>(status);
  }
  EnableBackupAndRestore();
  return static_cast<std::uint32_t>(
      platform::RegOpenKeyExW(parent, name.c_str(), platform::REG_OPTION_BACKUP_RESTORE,
                              platform::KEY_WOW64_64KEY, key.Receive()));
}

std::uint32_t DeleteOpenKey(platform::HKEY key) {
  const privileged_input::KeyDeletionApi api = privileged_input::LoadKeyDeletionApi();
  if (api.ntDeleteKey == nullptr || api.rtlNtStatusToDosError == nullptr) {
    return platform::ERROR_PROC_NOT_FOUND;
  }
  const platform::NTSTATUS status = api.ntDeleteKey(key);
  return status < 0 ? api.rtlNtStatusToDosError(status) : platform::ERROR_SUCCESS;
}

/// The properties prove the record's owner. They are deleted last, so that a record whose deletion
/// fails can still be recognised.
void MovePropertiesLast(std::vector<std::u16string>& names) {
  std::stable_partition(names.begin(), names.end(), [](const std::u16string& name) {
    return !EqualsIgnoringCase(name, kLastSubkey);
  });
}

std::uint32_t DeleteSubkeys(platform::HKEY key) {
  SubkeyListing listing = ListSubkeys(key);
  if (!listing.complete) return platform::ERROR_CANTREAD;
  MovePropertiesLast(listing.names);
  for (const std::u16string& name : listing.names) {
    const std::uint32_t error = DeleteKeyTree(key, name);
    if (error != platform::ERROR_SUCCESS) return error;
  }
  return platform::ERROR_SUCCESS;
}

}  // namespace

std::uint32_t DeleteKeyTree(platform::HKEY parentKey, const std::u16string& subkeyName) {
  platform::RegistryKey key;
  const std::uint32_t openError = OpenForDeletion(parentKey, subkeyName, key);
  if (openError == platform::ERROR_FILE_NOT_FOUND) return platform::ERROR_SUCCESS;
  if (openError != platform::ERROR_SUCCESS) return openError;
  const std::uint32_t error = DeleteSubkeys(key.Get());
  return error == platform::ERROR_SUCCESS ? DeleteOpenKey(key.Get()) : error;
}

}  // namespace vorn

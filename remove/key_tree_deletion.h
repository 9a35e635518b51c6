#pragma once

// Deletes registry keys with everything below them, also where their access lists allow only
// reading.

#include "platform/owners.h"
#include "platform/registry.h"
#include "privileged_input/native_api.h"

#include <cstdint>
#include <string>

namespace vorn {

/// Keeps what the deletion of any number of trees needs only once: the privileges stay enabled in
/// the process token, and the native functions stay where they are. What failed is tried again for
/// the next key.
class KeyTreeDeleter {
 public:
  /// Deletes a key and everything below it, at each level "Properties" last. A key that denies
  /// access is opened again with the backup and restore privileges. Returns an error code; 0 on
  /// success and if the key does not exist.
  std::uint32_t DeleteKeyTree(platform::HKEY parentKey, const std::u16string& subkeyName);

 private:
  std::uint32_t OpenForDeletion(platform::HKEY parent, const std::u16string& name,
                                platform::RegistryKey& key);
  std::uint32_t DeleteSubkeys(platform::HKEY key);
  std::uint32_t DeleteOpenKey(platform::HKEY key);

  bool privilegesEnabled_ = false;
  privileged_input::KeyDeletionApi api_;
};

}  // namespace vorn

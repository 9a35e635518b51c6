#pragma once

// The simulated machine's registry: the local machine's 64-bit view as a tree of keys.

#include "platform/simulated/copy_on_write.h"
#include "platform/simulated/file_system.h"
#include "platform/simulated/security_model.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::platform::simulated {

struct RegistryValue {
  std::u16string name;  // empty for the key's unnamed value
  std::uint32_t type = 0;
  Bytes data;

  friend bool operator==(const RegistryValue&, const RegistryValue&) = default;
};

/// The number of a key, never reused. 0 means no key.
using KeyId = std::uint64_t;

struct Key {
  std::u16string name;  // as originally written
  KeyId parent = 0;
  std::vector<KeyId> children;  // in the order of their upper-cased names
  std::vector<RegistryValue> values;
  std::optional<SecurityRecord> security;    // missing: the parent's applies
  std::optional<std::u16string> linkTarget;  // of a symbolic link: a path below HKEY_LOCAL_MACHINE
  std::uint32_t openError = 0;               // not 0: opening the key fails with this
  std::uint32_t listError = 0;               // not 0: listing its subkeys fails with this
  std::int32_t deleteStatus = 0;             // not 0: the NTSTATUS of deleting the key

  friend bool operator==(const Key&, const Key&) = default;
};

struct Registry {
  Registry();

  SharedTable<KeyId, Key> keys;
  KeyId localMachine = 0;  // always exists
  KeyId nextKey = 1;

  friend bool operator==(const Registry&, const Registry&) = default;
};

// Building and examining registries, by path below HKEY_LOCAL_MACHINE with backslashes. Access
// lists are not checked and links are not followed. Names of keys and values ignore ASCII case. A
// new key is listed in the order of upper-cased names, as in a hive.

/// The key at a path, also one below another key, created together with missing keys above it.
KeyId MakeKey(Registry& registry, std::u16string_view path);
KeyId MakeKey(Registry& registry, KeyId above, std::u16string_view path);

/// The key at a path; nothing when there is none. The empty path is HKEY_LOCAL_MACHINE.
std::optional<KeyId> FindKey(const Registry& registry, std::u16string_view path);
std::optional<KeyId> FindKey(const Registry& registry, KeyId above, std::u16string_view path);

/// Creates or replaces a value, and its key.
void PutValue(Registry& registry, std::u16string_view path, std::u16string_view name,
              std::uint32_t type, Bytes data);
void PutDword(Registry& registry, std::u16string_view path, std::u16string_view name,
              std::uint32_t value);
void PutString(Registry& registry, std::u16string_view path, std::u16string_view name,
               std::u16string_view text);

/// A value; null when there is none. Valid until the key changes.
const RegistryValue* FindValue(const Registry& registry, std::u16string_view path,
                               std::u16string_view name);

/// Gives the key at a path, created when it is missing, its own descriptor. Keys below it without
/// one share it.
void SecureKey(Registry& registry, std::u16string_view path, SecurityRecord security);

/// Removes a key with everything below it. Open handles to it find it deleted.
void RemoveKeyTree(Registry& registry, std::u16string_view path);

// By number, for the registry's own calls.

/// The child of that name, created when it is missing.
KeyId MakeChild(Registry& registry, KeyId parent, std::u16string_view name);

/// The child of that name; nothing when there is none.
std::optional<KeyId> FindChild(const Registry& registry, KeyId parent, std::u16string_view name);

/// The value of that name; null when there is none.
const RegistryValue* FindValue(const Key& key, std::u16string_view name);

/// Creates or replaces a value of a key.
void PutValue(Key& key, std::u16string_view name, std::uint32_t type, Bytes data);
void PutDword(Key& key, std::u16string_view name, std::uint32_t value);
void PutString(Key& key, std::u16string_view name, std::u16string_view text);

/// The descriptor that applies to a key: its own, or that of the nearest key above with one.
const SecurityRecord& SecurityOf(const Registry& registry, KeyId key);

/// Removes a key that has no subkeys.
void RemoveKey(Registry& registry, KeyId key);

}  // namespace vorn::platform::simulated

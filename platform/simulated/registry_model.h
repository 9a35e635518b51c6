#pragma once

// The simulated machine's registry: the local machine's 64-bit view as a tree of keys.

#include "platform/simulated/file_system.h"
#include "platform/simulated/security_model.h"

#include <cstdint>
#include <map>
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

/// Number of a key, never used again. 0 is no key.
using KeyId = std::uint64_t;

struct Key {
  std::u16string name;  // as written
  KeyId parent = 0;
  std::vector<KeyId> children;  // in listing order
  std::vector<RegistryValue> values;
  std::optional<SecurityRecord> security;    // its parent's when there is none
  std::optional<std::u16string> linkTarget;  // of a symbolic link: a path below HKEY_LOCAL_MACHINE
  std::uint32_t openError = 0;               // not 0: opening it fails with this
  std::uint32_t listError = 0;               // not 0: listing its subkeys fails with this
  std::int32_t deleteStatus = 0;             // not 0: the NTSTATUS that deleting it gives

  friend bool operator==(const Key&, const Key&) = default;
};

struct Registry {
  Registry();

  std::map<KeyId, Key> keys;
  KeyId localMachine = 0;  // there is always one
  KeyId nextKey = 1;

  friend bool operator==(const Registry&, const Registry&) = default;
};

// World building and looking, by path below HKEY_LOCAL_MACHINE with backslashes. No access list is
// asked and no link is followed. Keys and values are named without regard to ASCII case; a new key
// is listed in the order of the upper-cased names, as a hive keeps them.

/// The key at a path, created with those above it where they are missing.
KeyId MakeKey(Registry& registry, std::u16string_view path);

/// The key at a path; nothing when there is none. The empty path is HKEY_LOCAL_MACHINE.
std::optional<KeyId> FindKey(const Registry& registry, std::u16string_view path);

/// Creates or replaces a value, and its key.
void PutValue(Registry& registry, std::u16string_view path, std::u16string_view name,
              std::uint32_t type, Bytes data);
void PutDword(Registry& registry, std::u16string_view path, std::u16string_view name,
              std::uint32_t value);
void PutString(Registry& registry, std::u16string_view path, std::u16string_view name,
               std::u16string_view text);

/// A value; null when there is none. Good until the key changes.
const RegistryValue* FindValue(const Registry& registry, std::u16string_view path,
                               std::u16string_view name);

/// Gives the key at a path, created when it is missing, a descriptor of its own, which keys below
/// it without one share.
void SecureKey(Registry& registry, std::u16string_view path, SecurityRecord security);

/// Removes a key with everything below it. Handles to it find it deleted.
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

/// The descriptor that decides about a key: its own, or that of the nearest key above it.
const SecurityRecord& SecurityOf(const Registry& registry, KeyId key);

/// Removes a key that has no subkeys.
void RemoveKey(Registry& registry, KeyId key);

}  // namespace vorn::platform::simulated

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
  std::u16string name;
  std::uint32_t type = 0;
  Bytes data;

  friend bool operator==(const RegistryValue&, const RegistryValue&) = default;
};

using KeyId = std::uint64_t;

struct Key {
  std::u16string name;  // as written
  KeyId parent = 0;
  std::vector<KeyId> children;  // in listing order
  std::vector<RegistryValue> values;
  SecurityRecord security;
  bool deleted = false;  // still open somewhere, gone from the tree
};

struct Registry {
  std::map<KeyId, Key> keys;
  KeyId localMachine = 0;
  KeyId nextKey = 1;
};

// World building and looking, by path below HKEY_LOCAL_MACHINE. No access list is asked.

KeyId MakeKey(Registry& registry, std::u16string_view path);
std::optional<KeyId> FindKey(const Registry& registry, std::u16string_view path);
void PutValue(Registry& registry, std::u16string_view path, std::u16string_view name,
              std::uint32_t type, Bytes data);
void PutDword(Registry& registry, std::u16string_view path, std::u16string_view name,
              std::uint32_t value);
const RegistryValue* FindValue(const Registry& registry, std::u16string_view path,
                               std::u16string_view name);
void RemoveKeyTree(Registry& registry, std::u16string_view path);

}  // namespace vorn::platform::simulated

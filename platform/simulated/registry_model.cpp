#include "platform/simulated/registry_model.h"

#include "base/text.h"
#include "platform/registry.h"
#include "platform/simulated/registry_values.h"
#include "platform/simulated/returned_data.h"
#include "platform/simulated/upper_case.h"

#include <algorithm>

namespace vorn::platform::simulated {

namespace {

constexpr std::uint8_t kInheritedByKeys = 0x2;  // CONTAINER_INHERIT_ACE

/// Assumed: the system and administrators have full access to a key without a list of its own, and
/// users may read it. Question: which access list has HKEY_LOCAL_MACHINE\SOFTWARE?
const SecurityRecord& DefaultSecurity() {
  static const SecurityRecord record = [] {
    SecurityRecord made;
    made.daclProtected = true;
    made.entries = {{0, kInheritedByKeys, KEY_ALL_ACCESS, kLocalSystem},
                    {0, kInheritedByKeys, KEY_ALL_ACCESS, kAdministrators},
                    {0, kInheritedByKeys, KEY_READ, kUsers}};
    return made;
  }();
  return record;
}

/// Takes the next component off a path; empty at the end.
std::u16string_view TakeComponent(std::u16string_view& path) {
  while (path.starts_with(u'\\'))
    path.remove_prefix(1);
  const std::u16string_view component = path.substr(0, path.find(u'\\'));
  path.remove_prefix(component.size());
  return component;
}

/// Where the child of that name is in the list of its parent, or would be.
struct ChildPlace {
  std::vector<KeyId>::const_iterator place;
  bool found = false;
};

ChildPlace PlaceOfChild(const Registry& registry, const Key& parent, std::u16string_view name) {
  auto first = parent.children.begin();
  auto last = parent.children.end();
  while (first != last) {
    const auto middle = first + (last - first) / 2;
    const int order = CompareNames(registry.keys.Get(*middle).name, name);
    if (order == 0) return {middle, true};
    if (order < 0) {
      first = middle + 1;
    } else {
      last = middle;
    }
  }
  return {first, false};
}

KeyId AddSubkey(Registry& registry, KeyId parent, std::u16string_view name) {
  const KeyId id = registry.nextKey++;
  Key key;
  key.name = name;
  key.parent = parent;
  Key& above = registry.keys.at(parent);
  above.children.insert(PlaceOfChild(registry, above, name).place, id);
  registry.keys.Put(id, std::move(key));
  return id;
}

void RemoveKeyTree(Registry& registry, KeyId key) {
  const std::vector<KeyId> children = registry.keys.Get(key).children;
  for (const KeyId child : children)
    RemoveKeyTree(registry, child);
  RemoveKey(registry, key);
}

}  // namespace

Registry::Registry() {
  localMachine = nextKey++;
  Key key;
  key.name = u"HKEY_LOCAL_MACHINE";
  keys.Put(localMachine, std::move(key));
}

KeyId MakeKey(Registry& registry, std::u16string_view path) {
  return MakeKey(registry, registry.localMachine, path);
}

KeyId MakeKey(Registry& registry, KeyId above, std::u16string_view path) {
  KeyId key = above;
  for (auto name = TakeComponent(path); !name.empty(); name = TakeComponent(path)) {
    key = MakeChild(registry, key, name);
  }
  return key;
}

std::optional<KeyId> FindKey(const Registry& registry, std::u16string_view path) {
  return FindKey(registry, registry.localMachine, path);
}

std::optional<KeyId> FindKey(const Registry& registry, KeyId above, std::u16string_view path) {
  std::optional<KeyId> key = above;
  for (auto name = TakeComponent(path); key && !name.empty(); name = TakeComponent(path)) {
    key = FindChild(registry, *key, name);
  }
  return key;
}

void PutValue(Registry& registry, std::u16string_view path, std::u16string_view name,
              std::uint32_t type, Bytes data) {
  PutValue(registry.keys.at(MakeKey(registry, path)), name, type, std::move(data));
}

void PutDword(Registry& registry, std::u16string_view path, std::u16string_view name,
              std::uint32_t value) {
  PutDword(registry.keys.at(MakeKey(registry, path)), name, value);
}

void PutString(Registry& registry, std::u16string_view path, std::u16string_view name,
               std::u16string_view text) {
  PutString(registry.keys.at(MakeKey(registry, path)), name, text);
}

const RegistryValue* FindValue(const Registry& registry, std::u16string_view path,
                               std::u16string_view name) {
  const auto key = FindKey(registry, path);
  return key ? FindValue(registry.keys.at(*key), name) : nullptr;
}

void SecureKey(Registry& registry, std::u16string_view path, SecurityRecord security) {
  registry.keys.at(MakeKey(registry, path)).security = std::move(security);
}

void RemoveKeyTree(Registry& registry, std::u16string_view path) {
  if (const auto key = FindKey(registry, path)) RemoveKeyTree(registry, *key);
}

KeyId MakeChild(Registry& registry, KeyId parent, std::u16string_view name) {
  const auto child = FindChild(registry, parent, name);
  return child ? *child : AddSubkey(registry, parent, name);
}

std::optional<KeyId> FindChild(const Registry& registry, KeyId parent, std::u16string_view name) {
  const ChildPlace child = PlaceOfChild(registry, registry.keys.Get(parent), name);
  return child.found ? std::optional(*child.place) : std::nullopt;
}

const RegistryValue* FindValue(const Key& key, std::u16string_view name) {
  for (const RegistryValue& value : key.values) {
    if (IsSameName(value.name, name)) return &value;
  }
  return nullptr;
}

void PutValue(Key& key, std::u16string_view name, std::uint32_t type, Bytes data) {
  for (RegistryValue& value : key.values) {
    if (!IsSameName(value.name, name)) continue;
    value.type = type;
    value.data = std::move(data);
    return;
  }
  key.values.push_back({std::u16string(name), type, std::move(data)});
}

void PutDword(Key& key, std::u16string_view name, std::uint32_t value) {
  Bytes data(4);
  for (std::size_t i = 0; i < data.size(); ++i)
    data[i] = static_cast<std::uint8_t>(value >> (8 * i));
  PutValue(key, name, REG_DWORD, std::move(data));
}

void PutString(Key& key, std::u16string_view name, std::u16string_view text) {
  PutValue(key, name, REG_SZ, ToTerminatedBytes(text));
}

const SecurityRecord& SecurityOf(const Registry& registry, KeyId key) {
  for (KeyId next = key; next != 0; next = registry.keys.at(next).parent) {
    const Key& record = registry.keys.at(next);
    if (record.security) return *record.security;
  }
  return DefaultSecurity();
}

void RemoveKey(Registry& registry, KeyId key) {
  if (key == registry.localMachine) return;
  const Key& record = registry.keys.Get(key);
  Key& parent = registry.keys.at(record.parent);
  parent.children.erase(PlaceOfChild(registry, parent, record.name).place);
  registry.keys.Erase(key);
}

}  // namespace vorn::platform::simulated

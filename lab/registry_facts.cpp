#include "lab/registry_facts.h"

#include "lab/twins.h"
#include "lab/typed_data.h"
#include "platform/registry.h"
#include "platform/simulated/registry_values.h"

#include <algorithm>

namespace vorn::lab {

using platform::simulated::Key;
using platform::simulated::KeyId;
using platform::simulated::MakeChild;
using platform::simulated::Registry;
using platform::simulated::RegistryValue;
using platform::simulated::SecurityRecord;

namespace {

/// What the document says about one key.
struct KeyFacts {
  std::u16string path;  // empty for HKEY_LOCAL_MACHINE itself
  std::vector<RegistryValue> values;
  std::optional<SecurityRecord> security;
  std::optional<std::u16string> linkTarget;
  std::uint32_t openError = 0;
  std::uint32_t listError = 0;
  std::int32_t deleteStatus = 0;
};

template <class Facts>
void Describe(Facts& facts, KeyFacts& key) {
  facts.Required("path", key.path);
  facts.Unusual("security", key.security);
  facts.Unusual("linkTarget", key.linkTarget);
  facts.Unusual("openError", Coded{key.openError});
  facts.Unusual("listError", Coded{key.listError});
  facts.Unusual("deleteStatus", Coded{key.deleteStatus});
  facts.Unusual("values", key.values);
}

bool SaysNothing(const Key& key) {
  return key.values.empty() && !key.security && !key.linkTarget && key.openError == 0 &&
         key.listError == 0 && key.deleteStatus == 0;
}

void AppendKeys(const Registry& registry, KeyId id, const std::u16string& path,
                std::vector<KeyFacts>& list) {
  const Key& key = registry.keys.at(id);
  const bool implied = SaysNothing(key) && (!key.children.empty() || id == registry.localMachine);
  if (!implied) {
    list.push_back({path, key.values, key.security, key.linkTarget, key.openError, key.listError,
                    key.deleteStatus});
  }
  for (const KeyId child : key.children) {
    const std::u16string& name = registry.keys.at(child).name;
    AppendKeys(registry, child, path.empty() ? name : path + u"\\" + name, list);
  }
}

/// Documented (registry element size limits): a tree has at most this many levels.
constexpr std::ptrdiff_t kMostLevels = 512;

KeyId KeyAt(Registry& registry, const std::u16string& keyPath, const std::string& path) {
  if (std::count(keyPath.begin(), keyPath.end(), u'\\') >= kMostLevels) {
    throw BadInput(path, "has more than 512 levels");
  }
  KeyId id = registry.localMachine;
  for (std::size_t from = 0; from < keyPath.size() + 1 && !keyPath.empty();) {
    const std::size_t end = std::min(keyPath.find(u'\\', from), keyPath.size());
    if (end == from) throw BadInput(path, "contains an empty name");
    id = MakeChild(registry, id, std::u16string_view(keyPath).substr(from, end - from));
    from = end + 1;
  }
  return id;
}

}  // namespace

template <class Facts>
void Describe(Facts& facts, RegistryValue& value) {
  facts.Required("name", value.name);
  DescribeTypedData(facts, value.type, value.data, platform::REG_SZ, &platform::REG_DWORD);
}

Json RegistryToJson(const Registry& registry) {
  std::vector<KeyFacts> list;
  AppendKeys(registry, registry.localMachine, {}, list);
  return ToJson(list);
}

void RegistryFromJson(const Json& json, const std::string& path, Registry& registry) {
  registry = Registry();
  std::vector<KeyFacts> list;
  FromJson(json, path, list);
  std::set<KeyId> listed;
  for (std::size_t i = 0; i < list.size(); ++i) {
    const std::string keyPath = PathOfElement(path, i) + ".path";
    const KeyId id = KeyAt(registry, list[i].path, keyPath);
    if (!listed.insert(id).second) throw BadInput(keyPath, "appears twice");
    RefuseTwins(
        list[i].values, [](const RegistryValue& value) { return std::optional(value.name); },
        "name", PathOfElement(path, i) + ".values");
    Key& key = registry.keys.at(id);
    key.values = std::move(list[i].values);
    key.security = std::move(list[i].security);
    key.linkTarget = std::move(list[i].linkTarget);
    key.openError = list[i].openError;
    key.listError = list[i].listError;
    key.deleteStatus = list[i].deleteStatus;
  }
}

}  // namespace vorn::lab

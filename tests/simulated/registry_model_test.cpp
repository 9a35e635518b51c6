#include "platform/simulated/registry_model.h"

#include "platform/simulated/registry_values.h"

#include <gtest/gtest.h>

namespace vorn::platform::simulated {
namespace {

std::vector<std::u16string> ChildNames(const Registry& registry, std::u16string_view path) {
  std::vector<std::u16string> names;
  for (const KeyId child : registry.keys.at(FindKey(registry, path).value()).children)
    names.push_back(registry.keys.at(child).name);
  return names;
}

TEST(RegistryModel, CreatesTheKeysOfAPathOnceAndFindsThemInAnyCase) {
  Registry registry;
  const KeyId key = MakeKey(registry, u"SOFTWARE\\Vendor\\Leaf");
  EXPECT_EQ(MakeKey(registry, u"software\\VENDOR\\leaf"), key);
  EXPECT_EQ(FindKey(registry, u"Software\\vendor\\LEAF"), key);
  EXPECT_EQ(registry.keys.at(key).name, u"Leaf");
  EXPECT_FALSE(FindKey(registry, u"SOFTWARE\\Vendor\\Other\\Leaf"));
  EXPECT_EQ(FindKey(registry, u""), registry.localMachine);
}

TEST(RegistryModel, ListsSubkeysInTheOrderOfTheirUpperCasedNames) {
  Registry registry;
  for (const char16_t* name : {u"b", u"Properties", u"A", u"_", u"FxProperties"})
    MakeKey(registry, std::u16string(u"Top\\") + name);
  EXPECT_EQ(ChildNames(registry, u"Top"),
            (std::vector<std::u16string>{u"A", u"b", u"FxProperties", u"Properties", u"_"}));
}

TEST(RegistryModel, ReplacesAValueOfTheSameName) {
  Registry registry;
  PutDword(registry, u"Key", u"Value", 0x01020304);
  EXPECT_EQ(FindValue(registry, u"key", u"VALUE")->data, (Bytes{4, 3, 2, 1}));
  PutString(registry, u"Key", u"value", u"ab");
  const RegistryValue* value = FindValue(registry, u"Key", u"Value");
  EXPECT_EQ(value->type, REG_SZ);
  EXPECT_EQ(value->data, (Bytes{'a', 0, 'b', 0, 0, 0}));
  EXPECT_EQ(registry.keys.at(*FindKey(registry, u"Key")).values.size(), 1u);
  EXPECT_EQ(FindValue(registry, u"Key", u"Other"), nullptr);
  EXPECT_EQ(FindValue(registry, u"NoKey", u"Value"), nullptr);
}

TEST(RegistryModel, RemovesATreeWithAllBelowIt) {
  Registry registry;
  MakeKey(registry, u"A\\B\\C");
  MakeKey(registry, u"A\\D");
  RemoveKeyTree(registry, u"A\\B");
  EXPECT_FALSE(FindKey(registry, u"A\\B"));
  EXPECT_EQ(ChildNames(registry, u"A"), (std::vector<std::u16string>{u"D"}));
  EXPECT_EQ(registry.keys.size(), 3u);
  RemoveKeyTree(registry, u"Nothing");
  RemoveKeyTree(registry, u"");
  EXPECT_TRUE(registry.keys.contains(registry.localMachine));
}

TEST(RegistryModel, InheritsTheDescriptorOfTheNearestParent) {
  Registry registry;
  const KeyId leaf = MakeKey(registry, u"A\\B\\C");
  EXPECT_EQ(SecurityOf(registry, leaf), SecurityOf(registry, registry.localMachine));
  SecurityRecord own;
  own.owner = kOtherUser;
  SecureKey(registry, u"A", own);
  EXPECT_EQ(SecurityOf(registry, leaf), own);
  SecureKey(registry, u"A\\B\\C", SecurityRecord{});
  EXPECT_EQ(SecurityOf(registry, leaf), SecurityRecord{});
}

TEST(RegistryModel, IsCopiedWithEverythingInIt) {
  Registry registry;
  PutDword(registry, u"A\\B", u"Value", 1);
  Registry copy = registry;
  EXPECT_EQ(copy, registry);
  PutDword(copy, u"A\\B", u"Value", 2);
  EXPECT_NE(copy, registry);
  EXPECT_EQ(FindValue(registry, u"A\\B", u"Value")->data[0], 1);
}

}  // namespace
}  // namespace vorn::platform::simulated

// Arbitrary registry records: the cleanup deletes marked records and nothing else, whatever their
// names and values. There are no links, because users have no right to create keys there.

#include "remove/endpoint_records.h"

#include "platform/registry.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/process.h"
#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/targets.h"

#include <algorithm>
#include <vector>

namespace vorn::tests {

namespace endpoint_records {
namespace {

using namespace platform::simulated;

const std::u16string kBase = u"SOFTWARE\\Audio";
const std::u16string kForeign = u"SOFTWARE\\Foreign\\Tree";
const std::u16string kMarker = u"{4b7a2e8f-3c5d-4e91-8a67-2f9b1e3d5c7a},2";

/// Draws the name of a key: at least one unit, no backslash and no NUL.
std::u16string NameOf(InputReader& input) {
  std::u16string name = u"k";
  for (const std::uint8_t byte : input.Take(input.Byte() % 12)) {
    name += byte == u'\\' || byte == 0 ? u'_' : static_cast<char16_t>(byte);
  }
  return name;
}

Bytes DataOf(InputReader& input) {
  const auto data = input.Take(input.Byte() % 10);
  return {data.begin(), data.end()};
}

void AddRecord(Registry& registry, InputReader& input) {
  const std::uint8_t choice = input.Byte();
  const std::u16string record =
      kBase + (choice & 1 ? u"\\Render\\" : u"\\Capture\\") + NameOf(input);
  const KeyId key = MakeKey(registry, record);
  const std::u16string properties = record + (choice & 2 ? u"\\Properties" : u"\\FxProperties");
  if (choice & 4) PutValue(registry, properties, kMarker, input.Byte() % 12, DataOf(input));
  if (choice & 8) PutDword(registry, properties, kMarker, input.Byte());
  if (choice & 16) PutDword(registry, record, u"DeviceState", input.Byte());
  if (choice & 32) MakeKey(registry, record + u"\\" + NameOf(input) + u"\\" + NameOf(input));
  if (choice & 128) registry.keys.at(key).deleteStatus = input.Byte() & 1 ? -1073741790 : 0;
}

bool IsMarked(const Registry& registry, KeyId record) {
  const auto properties = FindChild(registry, record, u"Properties");
  if (!properties || registry.keys.at(*properties).linkTarget) return false;
  const RegistryValue* marker = FindValue(registry.keys.at(*properties), kMarker);
  return marker != nullptr && marker->type == platform::REG_DWORD && marker->data.size() == 4 &&
         marker->data[0] < 10 && marker->data[1] == 0 && marker->data[2] == 0 &&
         marker->data[3] == 0;
}

using KeyIds = std::vector<KeyId>;

/// The ids of a key and of all keys below it.
void Collect(const Registry& registry, KeyId key, KeyIds& keys) {
  keys.push_back(key);
  for (const KeyId child : registry.keys.at(key).children)
    Collect(registry, child, keys);
}

KeyIds KeysOfMarkedRecords(const Registry& registry) {
  KeyIds keys;
  for (const char16_t* flow : {u"Render", u"Capture"}) {
    const auto flowKey = FindKey(registry, kBase + u"\\" + flow);
    if (!flowKey) continue;
    for (const KeyId record : registry.keys.at(*flowKey).children) {
      if (IsMarked(registry, record)) Collect(registry, record, keys);
    }
  }
  return keys;
}

void CheckNothingElseChanged(const Registry& before, const Registry& after, const KeyIds& ours) {
  for (const auto& [id, key] : before.keys) {
    if (std::find(ours.begin(), ours.end(), id) != ours.end()) continue;
    const Key* const kept = after.keys.Find(id);
    Require(kept != nullptr, "no foreign key is deleted");
    Require(kept->values == key->values, "no foreign value is changed");
    Require(kept->name == key->name && kept->parent == key->parent, "none is moved");
  }
  for (const auto& [id, key] : after.keys)
    Require(before.keys.contains(id), "no key is created");
}

/// A machine with marked keys outside the records.
Machine MachineWithForeignKeys() {
  Machine machine;
  MakeKey(machine.registry, kForeign + u"\\Properties\\Below");
  PutDword(machine.registry, kForeign + u"\\Properties", kMarker, 3);
  return machine;
}

void Check(std::span<const std::uint8_t> bytes) {
  static const Machine kStart = MachineWithForeignKeys();
  Machine machine = kStart;
  InputReader input(bytes);
  for (int records = 0; records < 12 && !input.Ended(); ++records)
    AddRecord(machine.registry, input);
  const Registry before = machine.registry;
  const KeyIds ours = KeysOfMarkedRecords(before);
  const std::uint64_t start = machine.clock.tick;

  Process process(machine);
  const EndpointRecordCleanupResult result =
      CleanEndpointRecords(platform::HKEY_LOCAL_MACHINE, kBase, 3000);
  CheckNothingElseChanged(before, machine.registry, ours);
  Require(machine.clock.tick - start <= 3250, "the wait keeps to its budget");
  if (result.retained.empty()) {
    for (const KeyId key : ours)
      Require(!machine.registry.keys.contains(key), "what is ours is gone, or said to be kept");
  }
  for (const auto& [kind, count] : process.OpenObjects())
    Require(count == 0, "nothing is left open");
}

}  // namespace
}  // namespace endpoint_records

void FuzzEndpointRecords(std::span<const std::uint8_t> input) {
  endpoint_records::Check(input);
}

}  // namespace vorn::tests

#include "platform/simulated/devices.h"

#include "platform/simulated/upper_case.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <utility>

namespace vorn::platform::simulated {

bool IsSameDevice(std::u16string_view left, std::u16string_view right) {
  return IsSameName(left, right);
}

namespace {

/// Four units without what distinguishes the spellings of a name: the bit in which a letter's two
/// cases differ, and the letters outside ASCII.
std::uint64_t FoldedUnits(const char16_t* units) {
  std::uint64_t folded = 0;
  std::memcpy(&folded, units, sizeof folded);
  constexpr std::uint64_t kBeyondAscii = 0xFF80FF80FF80FF80;
  constexpr std::uint64_t kCase = 0x0020002000200020;
  if ((folded & kBeyondAscii) == 0) return folded | kCase;
  folded = 0;
  for (std::size_t i = 0; i < 4; ++i)
    folded = folded << 16 | (units[i] < 0x80 ? units[i] | 0x20U : 0x80U);
  return folded;
}

}  // namespace

std::size_t DeviceIdHash::operator()(std::u16string_view id) const {
  constexpr std::size_t kTellingUnits = 8;  // at the end, where ids differ
  std::array<char16_t, kTellingUnits> longer = {};
  if (id.size() < kTellingUnits) {
    std::copy(id.begin(), id.end(), longer.begin());
    id = {longer.data(), kTellingUnits};
  }
  const char16_t* units = id.data() + id.size() - kTellingUnits;
  const std::uint64_t hash =
      (FoldedUnits(units) * 0x9E3779B97F4A7C15 ^ FoldedUnits(units + 4)) * 0xBF58476D1CE4E5B9;
  return static_cast<std::size_t>(hash ^ hash >> 32);
}

// ------------------------------------------------------------------------------------------------
// The index.

void Devices::Index::Add(Order::const_iterator node) {
  const bool isNew = devices.try_emplace((*node)->instanceId, Entry{node}).second;
  hasDoubles = hasDoubles || !isNew;
  knowsParents = false;
}

const Devices::Index& Devices::Nodes::TheIndex() const {
  if (index != nullptr) return *index;
  index = std::make_unique<Index>();
  index->devices.reserve(order.size());
  for (auto node = order.begin(); node != order.end(); ++node)
    index->Add(node);
  return *index;
}

const Devices::Index& Devices::Nodes::IndexWithParents() const {
  TheIndex();
  if (index->knowsParents) return *index;
  index->below.clear();
  for (auto node = order.begin(); node != order.end(); ++node) {
    Index::Entry& entry = index->devices.find((*node)->instanceId)->second;
    if (entry.node != node) continue;
    std::vector<const Index::Entry*>& siblings = index->below[(*node)->parent];
    entry.sibling = siblings.size();
    siblings.push_back(&entry);
  }
  index->knowsParents = true;
  return *index;
}

const Device* Devices::FirstFrom(const std::vector<const Index::Entry*>& below, std::size_t place) {
  const auto found = std::find_if(below.begin() + static_cast<std::ptrdiff_t>(place), below.end(),
                                  [](const Index::Entry* entry) { return entry != nullptr; });
  return found == below.end() ? nullptr : (*found)->node->get();
}

const Device* Devices::FirstBelow(std::u16string_view parent) const {
  const Index& index = nodes_.Read().IndexWithParents();
  const auto below = index.below.find(parent);
  return below == index.below.end() ? nullptr : FirstFrom(below->second, 0);
}

const Device* Devices::NextBelow(const Device& device) const {
  const Index& index = nodes_.Read().IndexWithParents();
  const auto entry = index.devices.find(device.instanceId);
  if (entry == index.devices.end()) return nullptr;
  return FirstFrom(index.below.find(device.parent)->second, entry->second.sibling + 1);
}

// ------------------------------------------------------------------------------------------------
// Single devices.

const Device* Devices::Find(std::u16string_view instanceId) const {
  const Index& index = nodes_.Read().TheIndex();
  const auto found = index.devices.find(instanceId);
  return found == index.devices.end() ? nullptr : found->second.node->get();
}

Device& Devices::ForWriting(std::shared_ptr<Device>& device) {
  if (device.use_count() > 1) device = std::make_shared<Device>(*device);
  return *device;
}

Device* Devices::Find(std::u16string_view instanceId) {
  const Index& shared = nodes_.Read().TheIndex();
  auto found = shared.devices.find(instanceId);
  if (found == shared.devices.end()) return nullptr;
  Nodes& nodes = nodes_.Write();
  const Index& index = nodes.TheIndex();
  if (&index != &shared) found = index.devices.find(instanceId);
  // Erasing nothing turns the place into one that can be written.
  // cppcheck-suppress sameIteratorExpression
  return &ForWriting(*nodes.order.erase(found->second.node, found->second.node));
}

Device& Devices::Insert(Device device) {
  Nodes& nodes = nodes_.Write();
  // Observed (device lists of Windows): an enumerator's devices come in the order of their registry
  // keys.
  const auto higher = std::find_if(nodes.order.begin(), nodes.order.end(), [&](const auto& other) {
    return IsSameName(other->enumerator, device.enumerator) &&
           IsNameBefore(device.instanceId, other->instanceId);
  });
  const auto node = nodes.order.insert(higher, std::make_shared<Device>(std::move(device)));
  if (nodes.index != nullptr) nodes.index->Add(node);
  return **node;
}

void Devices::Erase(std::u16string_view instanceId) {
  if (std::as_const(*this).Find(instanceId) == nullptr) return;
  Nodes& nodes = nodes_.Write();
  nodes.TheIndex();
  Index& index = *nodes.index;
  if (index.hasDoubles) {
    EraseIf([id = std::u16string(instanceId)](const Device& device) {
      return IsSameDevice(device.instanceId, id);
    });
    return;
  }
  const auto found = index.devices.find(instanceId);
  const auto node = found->second.node;
  if (index.knowsParents) {
    index.below.find((*node)->parent)->second[found->second.sibling] = nullptr;
  }
  index.devices.erase(found);
  nodes.order.erase(node);
}

// ------------------------------------------------------------------------------------------------
// All of them.

Devices::Devices(std::initializer_list<Device> devices) {
  for (const Device& device : devices)
    push_back(device);
}

bool Devices::Nodes::IsSame(const Nodes& other) const {
  return std::equal(order.begin(), order.end(), other.order.begin(), other.order.end(),
                    [](const auto& mine, const auto& its) { return mine == its || *mine == *its; });
}

Devices::Order& Devices::AllForWriting() {
  Nodes& nodes = nodes_.Write();
  nodes.index.reset();
  for (auto& device : nodes.order)
    ForWriting(device);
  return nodes.order;
}

void Devices::push_back(Device device) {
  Nodes& nodes = nodes_.Write();
  nodes.index.reset();
  nodes.order.push_back(std::make_shared<Device>(std::move(device)));
}

const Device& Devices::operator[](std::size_t index) const {
  return *std::next(begin(), static_cast<std::ptrdiff_t>(index));
}

Device& Devices::operator[](std::size_t index) {
  return *std::next(begin(), static_cast<std::ptrdiff_t>(index));
}

}  // namespace vorn::platform::simulated

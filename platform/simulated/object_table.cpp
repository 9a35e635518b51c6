#include "platform/simulated/object_table.h"

#include <algorithm>
#include <utility>

namespace vorn::platform::simulated {

// Documented: the two lowest bits of a handle are zero. Ours: no value comes a second time.
std::uintptr_t ObjectTable::Add(ObjectKind kind, std::shared_ptr<Object> object) {
  const std::uintptr_t value = next_;
  next_ += kStep;
  slots_.push_back({value, kind, std::move(object)});
  return value;
}

/// The number of slots when there is no such object.
std::size_t ObjectTable::PlaceOf(ObjectKind kind, std::uintptr_t value) const {
  const auto slot =
      std::lower_bound(slots_.begin(), slots_.end(), value,
                       [](const Slot& each, std::uintptr_t wanted) { return each.value < wanted; });
  const bool found =
      slot != slots_.end() && slot->value == value && slot->kind == kind && slot->object != nullptr;
  return static_cast<std::size_t>((found ? slot : slots_.end()) - slots_.begin());
}

std::shared_ptr<Object> ObjectTable::Find(ObjectKind kind, std::uintptr_t value) const {
  const std::size_t place = PlaceOf(kind, value);
  return place == slots_.size() ? nullptr : slots_[place].object;
}

bool ObjectTable::Remove(ObjectKind kind, std::uintptr_t value) {
  const std::size_t place = PlaceOf(kind, value);
  if (place == slots_.size()) return false;
  const std::shared_ptr<Object> keptUntilRemoved = std::move(slots_[place].object);
  ++gone_;
  while (!slots_.empty() && slots_.back().object == nullptr) {
    slots_.pop_back();
    --gone_;
  }
  if (gone_ > slots_.size() / 2) DropGone();
  return true;
}

void ObjectTable::DropGone() {
  std::erase_if(slots_, [](const Slot& slot) { return slot.object == nullptr; });
  gone_ = 0;
}

}  // namespace vorn::platform::simulated

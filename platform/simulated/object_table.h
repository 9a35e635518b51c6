#pragma once

// ObjectTable: what a process has open, by the value of its handle. Values are opaque numbers,
// never reused. Most objects live for a few calls, so the table keeps only the living in one piece
// of memory, in the order of their values.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace vorn::platform::simulated {

/// An open object of the process, of any kind.
class Object {
 public:
  virtual ~Object() = default;
};

/// Kinds of things that a process may leave open.
enum class ObjectKind { Handle, DeviceInfoList, Inf, Key, Service, Hash, Com, Memory, Stream };

class ObjectTable {
 public:
  std::uintptr_t Add(ObjectKind kind, std::shared_ptr<Object> object);

  /// Null when there is no such object of that kind.
  std::shared_ptr<Object> Find(ObjectKind kind, std::uintptr_t value) const;
  bool Remove(ObjectKind kind, std::uintptr_t value);

  /// Removes the objects of the kinds that `isUnwanted` accepts, the newest first. What happens
  /// when an object goes may not open or close another.
  template <class Predicate>
  void RemoveAll(Predicate isUnwanted) {
    for (std::size_t i = slots_.size(); i-- > 0;) {
      if (isUnwanted(slots_[i].kind)) slots_[i].object.reset();
    }
    DropGone();
  }

  /// Calls `visit` with the kind of each object.
  template <class Visitor>
  void VisitKinds(Visitor visit) const {
    for (const Slot& slot : slots_) {
      if (slot.object != nullptr) visit(slot.kind);
    }
  }

 private:
  struct Slot {
    std::uintptr_t value = 0;
    ObjectKind kind = ObjectKind::Handle;
    std::shared_ptr<Object> object;  // null when it is gone
  };

  static constexpr std::uintptr_t kStep = 4;

  std::size_t PlaceOf(ObjectKind kind, std::uintptr_t value) const;
  void DropGone();

  std::vector<Slot> slots_;
  std::size_t gone_ = 0;  // slots without an object
  std::uintptr_t next_ = kStep;
};

}  // namespace vorn::platform::simulated

#pragma once

// Devices: the device nodes of a machine in enumeration order, found by instance id and by parent
// in a time that does not grow with their number. Copies share the nodes until one of them writes.

#include "platform/simulated/copy_on_write.h"
#include "platform/simulated/device.h"

#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <vector>

namespace vorn::platform::simulated {

/// Whether two instance ids name the same device.
bool IsSameDevice(std::u16string_view left, std::u16string_view right);

/// A hash that is the same for all spellings of an instance id.
struct DeviceIdHash {
  using is_transparent = void;
  std::size_t operator()(std::u16string_view id) const;
};

struct DeviceIdEqual {
  using is_transparent = void;
  bool operator()(std::u16string_view left, std::u16string_view right) const {
    return IsSameDevice(left, right);
  }
};

class Devices {
 public:
  using Order = std::list<std::shared_ptr<Device>>;

  template <class Place, class Value>
  class Iterator {
   public:
    using iterator_category = std::bidirectional_iterator_tag;
    using value_type = Device;
    using difference_type = std::ptrdiff_t;
    using pointer = Value*;
    using reference = Value&;

    Iterator() = default;
    explicit Iterator(Place place) : place_(place) {}
    reference operator*() const { return **place_; }
    pointer operator->() const { return place_->get(); }
    Iterator& operator++() {
      ++place_;
      return *this;
    }
    Iterator operator++(int) { return Iterator(place_++); }
    Iterator& operator--() {
      --place_;
      return *this;
    }
    Iterator operator--(int) { return Iterator(place_--); }
    friend bool operator==(const Iterator&, const Iterator&) = default;

   private:
    Place place_;
  };
  using value_type = Device;
  using iterator = Iterator<Order::iterator, Device>;
  using const_iterator = Iterator<Order::const_iterator, const Device>;

  Devices() = default;
  Devices(std::initializer_list<Device> devices);

  bool empty() const { return nodes_.Read().order.empty(); }
  std::size_t size() const { return nodes_.Read().order.size(); }
  const_iterator begin() const { return const_iterator(nodes_.Read().order.begin()); }
  const_iterator end() const { return const_iterator(nodes_.Read().order.end()); }
  const Device& front() const { return *begin(); }
  const Device& operator[](std::size_t index) const;

  // Whoever takes these may change every device, its id and its place among the others.
  iterator begin() { return iterator(AllForWriting().begin()); }
  iterator end() { return iterator(AllForWriting().end()); }
  Device& front() { return *begin(); }
  Device& back() { return **std::prev(AllForWriting().end()); }
  Device& operator[](std::size_t index);
  void push_back(Device device);
  void clear() { *this = Devices(); }

  /// Removes every device that `isUnwanted` accepts.
  template <class Predicate>
  void EraseIf(Predicate isUnwanted) {
    AllForWriting().remove_if([&](const auto& device) { return isUnwanted(*device); });
  }

  /// The device of that id; null when there is none. Through the pointer everything may change but
  /// its id and its parent.
  const Device* Find(std::u16string_view instanceId) const;
  Device* Find(std::u16string_view instanceId);

  /// The devices below that parent, in order. `Next` of a device that is not in the tree is null.
  const Device* FirstBelow(std::u16string_view parent) const;
  const Device* NextBelow(const Device& device) const;

  /// Adds a device before the first one of the same enumerator with a higher id, otherwise at the
  /// end.
  Device& Insert(Device device);

  /// Removes every device of that id.
  void Erase(std::u16string_view instanceId);

  friend bool operator==(const Devices& left, const Devices& right) {
    return left.nodes_ == right.nodes_;
  }

 private:
  /// Where to find devices; derived from the order when it is first asked.
  struct Index {
    struct Entry {
      Order::const_iterator node;
      std::size_t sibling = 0;  // its place in the list of its parent
    };
    template <class T>
    using ById = std::unordered_map<std::u16string, T, DeviceIdHash, DeviceIdEqual>;

    void Add(Order::const_iterator node);

    ById<Entry> devices;      // the first one of each id
    bool hasDoubles = false;  // several devices have one id
    bool knowsParents = false;
    ById<std::vector<const Entry*>> below;  // null where a device was
  };

  struct Nodes {
    Nodes() = default;
    /// The copy shares the devices and derives an index of its own.
    Nodes(const Nodes& other) : order(other.order) {}
    Nodes& operator=(const Nodes&) = delete;
    ~Nodes() = default;

    const Index& TheIndex() const;
    const Index& IndexWithParents() const;
    bool IsSame(const Nodes& other) const;
    friend bool operator==(const Nodes& left, const Nodes& right) { return left.IsSame(right); }

    Order order;
    mutable std::unique_ptr<Index> index;
  };

  /// The devices, none of them shared, and without an index.
  Order& AllForWriting();
  static Device& ForWriting(std::shared_ptr<Device>& device);
  static const Device* FirstFrom(const std::vector<const Index::Entry*>& below, std::size_t place);

  CopyOnWrite<Nodes> nodes_;
};

}  // namespace vorn::platform::simulated

#pragma once

// Values that copies of a machine share until one of them writes. Thousands of runs start from
// copies of one machine, and most of them write little of it.

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace vorn::platform::simulated {

/// One shared value. A moved-from object keeps its value.
template <class T>
class CopyOnWrite {
 public:
  CopyOnWrite() = default;
  explicit CopyOnWrite(T value) : value_(std::make_shared<T>(std::move(value))) {}
  CopyOnWrite(const CopyOnWrite&) = default;
  CopyOnWrite& operator=(const CopyOnWrite&) = default;
  ~CopyOnWrite() = default;

  const T& Read() const { return *value_; }

  /// The value, which nobody else sees; the reference is valid until the next copy.
  T& Write() {
    if (value_.use_count() > 1) value_ = std::make_shared<T>(*value_);
    return *value_;
  }

  friend bool operator==(const CopyOnWrite& left, const CopyOnWrite& right) {
    return left.value_ == right.value_ || *left.value_ == *right.value_;
  }

 private:
  std::shared_ptr<T> value_ = std::make_shared<T>();
};

/// Values by number. Copies share the table, and then those values that neither has changed.
template <class Id, class T>
class SharedTable {
 public:
  using Values = std::map<Id, std::shared_ptr<const T>>;

  /// The value; null when there is none.
  const T* Find(Id id) const {
    const auto found = values_.Read().find(id);
    return found == values_.Read().end() ? nullptr : found->second.get();
  }
  bool contains(Id id) const { return values_.Read().contains(id); }
  std::size_t size() const { return values_.Read().size(); }

  /// The value, which must exist.
  const T& Get(Id id) const { return *values_.Read().at(id); }
  const T& at(Id id) const { return Get(id); }

  /// The value, which must exist, for writing; the reference is valid until the table is copied.
  T& at(Id id) {
    std::shared_ptr<const T>& value = values_.Write().at(id);
    if (value.use_count() > 1) value = std::make_shared<T>(*value);
    // Every value was created writable, and only this table holds this one.
    return const_cast<T&>(*value);  // NOLINT(cppcoreguidelines-pro-type-const-cast)
  }

  void Put(Id id, T value) { values_.Write()[id] = std::make_shared<T>(std::move(value)); }
  void Erase(Id id) { values_.Write().erase(id); }

  /// Pairs of a number and a shared pointer to the value, by number.
  auto begin() const { return values_.Read().begin(); }
  auto end() const { return values_.Read().end(); }

  friend bool operator==(const SharedTable& left, const SharedTable& right) {
    const Values& some = left.values_.Read();
    const Values& others = right.values_.Read();
    if (&some == &others) return true;
    return std::equal(some.begin(), some.end(), others.begin(), others.end(),
                      [](const auto& one, const auto& other) {
                        return one.first == other.first &&
                               (one.second == other.second || *one.second == *other.second);
                      });
  }

 private:
  CopyOnWrite<Values> values_;
};

/// A list, with the manners of a vector. Whoever gets hold of an element for writing has the list
/// to himself.
template <class T>
class SharedList {
 public:
  using value_type = T;
  using iterator = typename std::vector<T>::iterator;
  using const_iterator = typename std::vector<T>::const_iterator;

  SharedList() = default;
  SharedList(std::initializer_list<T> values) : values_(std::vector<T>(values)) {}
  // NOLINTBEGIN(google-explicit-constructor): it stands for a vector
  SharedList(std::vector<T> values) : values_(std::move(values)) {}
  operator const std::vector<T>&() const { return Read(); }
  // NOLINTEND(google-explicit-constructor)

  const std::vector<T>& Read() const { return values_.Read(); }
  std::vector<T>& Write() { return values_.Write(); }

  bool empty() const { return Read().empty(); }
  std::size_t size() const { return Read().size(); }
  const_iterator begin() const { return Read().begin(); }
  const_iterator end() const { return Read().end(); }
  const T& operator[](std::size_t index) const { return Read()[index]; }
  const T& front() const { return Read().front(); }
  const T& back() const { return Read().back(); }

  iterator begin() { return Write().begin(); }
  iterator end() { return Write().end(); }
  T& operator[](std::size_t index) { return Write()[index]; }
  T& front() { return Write().front(); }
  T& back() { return Write().back(); }
  void push_back(T value) { Write().push_back(std::move(value)); }
  void clear() { Write().clear(); }

  friend bool operator==(const SharedList&, const SharedList&) = default;

 private:
  CopyOnWrite<std::vector<T>> values_;
};

}  // namespace vorn::platform::simulated

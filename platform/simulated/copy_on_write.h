#pragma once

// Values that copies of a machine share until one of them writes. Thousands of runs start from
// copies of one machine, and most of them write little of it.

#include <algorithm>
#include <array>
#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <map>
#include <memory>
#include <stdexcept>
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

/// Values by number. Copies share the table, then its pages, and then those values that neither has
/// changed: who writes one value copies only the page that it is on.
template <class Id, class T>
class SharedTable {
  using Value = std::shared_ptr<const T>;
  static constexpr Id kPageLength = 32;

  struct Page {
    std::array<Value, kPageLength> values;  // null where there is none
    std::size_t used = 0;
  };
  using Pages = std::map<Id, std::shared_ptr<Page>>;  // by number of page, none of them empty
  struct Content {
    Pages pages;
    std::size_t size = 0;
  };

 public:
  /// Goes through pairs of a number and a shared pointer to the value, by number.
  class Iterator {
   public:
    using iterator_category = std::input_iterator_tag;
    using value_type = std::pair<Id, Value>;
    using difference_type = std::ptrdiff_t;
    using pointer = void;
    using reference = value_type;

    Iterator(typename Pages::const_iterator page, typename Pages::const_iterator end)
        : page_(page), end_(end) {
      SkipMissing();
    }
    reference operator*() const {
      return {page_->first * kPageLength + slot_, page_->second->values[slot_]};
    }
    Iterator& operator++() {
      ++slot_;
      SkipMissing();
      return *this;
    }
    friend bool operator==(const Iterator& left, const Iterator& right) {
      return left.page_ == right.page_ && left.slot_ == right.slot_;
    }

   private:
    void SkipMissing() {
      while (page_ != end_ && (slot_ == kPageLength || page_->second->values[slot_] == nullptr)) {
        if (++slot_ < kPageLength) continue;
        ++page_;
        slot_ = 0;
      }
    }

    typename Pages::const_iterator page_;
    typename Pages::const_iterator end_;
    Id slot_ = 0;
  };

  /// The value; null when there is none.
  const T* Find(Id id) const {
    const Pages& pages = content_.Read().pages;
    const auto page = pages.find(id / kPageLength);
    return page == pages.end() ? nullptr : page->second->values[id % kPageLength].get();
  }
  bool contains(Id id) const { return Find(id) != nullptr; }
  std::size_t size() const { return content_.Read().size; }

  /// The value, which must exist.
  const T& Get(Id id) const {
    const T* value = Find(id);
    if (value == nullptr) throw std::out_of_range("no value of that number");
    return *value;
  }
  const T& at(Id id) const { return Get(id); }

  /// The value, which must exist, for writing; the reference is valid until the table is copied.
  T& at(Id id) {
    Get(id);
    Value& value = OwnPage(content_.Write().pages, id).values[id % kPageLength];
    if (value.use_count() > 1) value = std::make_shared<T>(*value);
    // Every value was created writable, and only this table holds this one.
    return const_cast<T&>(*value);  // NOLINT(cppcoreguidelines-pro-type-const-cast)
  }

  void Put(Id id, T value) {
    Content& content = content_.Write();
    Page& page = OwnPage(content.pages, id);
    Value& slot = page.values[id % kPageLength];
    if (slot == nullptr) {
      ++page.used;
      ++content.size;
    }
    slot = std::make_shared<T>(std::move(value));
  }

  void Erase(Id id) {
    if (!contains(id)) return;
    Content& content = content_.Write();
    Page& page = OwnPage(content.pages, id);
    page.values[id % kPageLength].reset();
    --content.size;
    if (--page.used == 0) content.pages.erase(id / kPageLength);
  }

  Iterator begin() const { return {content_.Read().pages.begin(), content_.Read().pages.end()}; }
  Iterator end() const { return {content_.Read().pages.end(), content_.Read().pages.end()}; }

  friend bool operator==(const SharedTable& left, const SharedTable& right) {
    const Pages& some = left.content_.Read().pages;
    const Pages& others = right.content_.Read().pages;
    if (&some == &others) return true;
    return std::equal(some.begin(), some.end(), others.begin(), others.end(),
                      [](const auto& one, const auto& other) {
                        return one.first == other.first && IsSamePage(one.second, other.second);
                      });
  }

 private:
  static bool IsSamePage(const std::shared_ptr<Page>& left, const std::shared_ptr<Page>& right) {
    return left == right ||
           std::equal(left->values.begin(), left->values.end(), right->values.begin(),
                      [](const Value& one, const Value& other) {
                        if (one == other) return true;
                        return one != nullptr && other != nullptr && *one == *other;
                      });
  }

  /// The page of a number, which only this table has.
  static Page& OwnPage(Pages& pages, Id id) {
    std::shared_ptr<Page>& page = pages[id / kPageLength];
    if (page == nullptr) {
      page = std::make_shared<Page>();
    } else if (page.use_count() > 1) {
      page = std::make_shared<Page>(*page);
    }
    return *page;
  }

  CopyOnWrite<Content> content_;
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

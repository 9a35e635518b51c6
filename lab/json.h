#pragma once

// Json: the value of a JSON text. The members of an object keep their order.
//
// The lab has a type of its own because the header of the JSON library takes seconds to compile:
// only json_text.cpp includes it.

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace vorn::lab {

class Json {
 public:
  using List = std::vector<Json>;
  using Object = std::vector<std::pair<std::string, Json>>;
  /// A number without a sign, a number with one, and a fraction are three kinds of value.
  using Value = std::variant<std::nullptr_t, bool, std::uint64_t, std::int64_t, double, std::string,
                             List, Object>;

  // NOLINTBEGIN(google-explicit-constructor): records are put together from plain values
  Json() = default;  // null
  Json(std::nullptr_t) {}
  template <std::same_as<bool> T>
  Json(T value) : value_(value) {}
  template <std::integral T>
  requires(!std::same_as<T, bool>) Json(T number) {
    if (number < 0) {
      value_ = static_cast<std::int64_t>(number);
    } else {
      value_ = static_cast<std::uint64_t>(number);
    }
  }
  Json(const char* text) : value_(std::string(text)) {}
  Json(std::string text) : value_(std::move(text)) {}
  Json(List list) : value_(std::move(list)) {}
  Json(Object object) : value_(std::move(object)) {}
  /// An object when each of the values is a list of a key and a value; a list otherwise.
  Json(std::initializer_list<Json> values);
  // NOLINTEND(google-explicit-constructor)
  explicit Json(Value value) : value_(std::move(value)) {}

  const Value& Get() const { return value_; }

  /// The value when it is a T, one of the alternatives of Value; null when it is not.
  template <class T>
  const T* As() const {
    return std::get_if<T>(&value_);
  }

  // A list. Asking any other value for an element throws.
  std::size_t size() const { return Elements().size(); }
  bool empty() const { return Elements().empty(); }
  List::const_iterator begin() const { return Elements().begin(); }
  List::const_iterator end() const { return Elements().end(); }
  List::iterator begin() { return std::get<List>(value_).begin(); }
  List::iterator end() { return std::get<List>(value_).end(); }
  void push_back(Json value) { std::get<List>(value_).push_back(std::move(value)); }
  template <std::integral T>
  const Json& operator[](T index) const {
    return Elements().at(static_cast<std::size_t>(index));
  }
  template <std::integral T>
  Json& operator[](T index) {
    return std::get<List>(value_).at(static_cast<std::size_t>(index));
  }

  /// The member of an object; null when it is missing, or when this is not an object.
  const Json* Find(std::string_view key) const;
  /// The member of an object. Throws when it is missing.
  const Json& operator[](std::string_view key) const;
  /// The member of an object, added when it is missing; a null value becomes an object.
  Json& operator[](std::string_view key);
  /// Adds a member to an object, which must not have it yet.
  void AddMember(std::string key, Json value) {
    std::get<Object>(value_).emplace_back(std::move(key), std::move(value));
  }

  friend bool operator==(const Json&, const Json&) = default;

 private:
  const List& Elements() const { return std::get<List>(value_); }

  Value value_;
};

}  // namespace vorn::lab

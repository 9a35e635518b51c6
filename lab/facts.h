#pragma once

// Each record is described once, for both writing and reading: a function `template <class Facts>
// void Describe(Facts& facts, Record& record)` names every field. FactWriter turns the record into
// a JSON object. FactReader fills the record from an object and refuses keys that no field has.

#include "lab/fact_values.h"
#include "platform/simulated/copy_on_write.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace vorn::lab {

/// A number that is written as "0x...".
template <class T>
struct Coded {
  T& value;
};
template <class T>
Coded(T&) -> Coded<T>;

class FactWriter;
class FactReader;

template <class T>
concept Described = requires(FactWriter& facts, T& record) {
  Describe(facts, record);
};

template <Described T>
Json ToJson(const T& record);
template <class T>
Json ToJson(const std::optional<T>& value);
template <class T>
Json ToJson(const std::vector<T>& values);
template <class T>
Json ToJson(const std::set<T>& values);
template <class T>
Json ToJson(const platform::simulated::SharedList<T>& values);

template <Described T>
void FromJson(const Json& json, const std::string& path, T& record);
template <class T>
void FromJson(const Json& json, const std::string& path, std::optional<T>& value);
template <class T>
void FromJson(const Json& json, const std::string& path, std::vector<T>& values);
template <class T>
void FromJson(const Json& json, const std::string& path, std::set<T>& values);
template <class T>
void FromJson(const Json& json, const std::string& path,
              platform::simulated::SharedList<T>& values);

inline Json CodeToJson(std::int32_t value) {
  return HexToJson(static_cast<std::uint32_t>(value));
}
template <std::unsigned_integral T>
Json CodeToJson(T value) {
  return HexToJson(value);
}
template <class T>
Json CodeToJson(const std::optional<T>& value) {
  return value ? CodeToJson(*value) : Json(nullptr);
}
template <class T>
Json ToJson(const Coded<T>& coded) {
  return CodeToJson(coded.value);
}

template <class T>
void FromJson(const Json& json, const std::string& path, Coded<T> coded) {
  FromJson(json, path, coded.value);
}

/// The names of an enumeration's values, starting with its first value.
using ChoiceNames = std::span<const char* const>;

/// Throws BadInput when `json` is not a list.
const Json::List& DemandList(const Json& json, const std::string& path);
std::string PathOfElement(const std::string& path, std::size_t index);

class FactWriter {
 public:
  /// A fact that is always written. When the key is missing, the field keeps its default.
  template <class T>
  void Fact(const char* key, const T& value) {
    object_[key] = ToJson(value);
  }

  /// A fact whose key must be present.
  template <class T>
  void Required(const char* key, const T& value) {
    Fact(key, value);
  }

  /// A fact that is written only when it differs from `usual`.
  template <class T>
  void Unusual(const char* key, const T& value, const std::type_identity_t<T>& usual = {}) {
    if (!(value == usual)) Fact(key, value);
  }
  template <class T>
  void Unusual(const char* key, const Coded<T>& coded, const std::type_identity_t<T>& usual = {}) {
    if (coded.value != usual) Fact(key, coded);
  }

  /// A map, written as a list of `Item`, a described record of a key and a value.
  template <class Item, class Map>
  void List(const char* key, const Map& map) {
    Json list = Json::List();
    for (const auto& [itemKey, value] : map)
      list.push_back(ToJson(Item{itemKey, value}));
    object_[key] = std::move(list);
  }
  template <class Item, class Map>
  void UnusualList(const char* key, const Map& map) {
    if (!map.empty()) List<Item>(key, map);
  }

  /// An enumeration, written as the name of its value.
  template <class T>
  void Choice(const char* key, const T& value, ChoiceNames names) {
    object_[key] = names[std::min(static_cast<std::size_t>(value), names.size() - 1)];
  }

  template <class T>
  void RequiredChoice(const char* key, const T& value, ChoiceNames names) {
    Choice(key, value, names);
  }

  template <class T>
  void UnusualChoice(const char* key, const T& value, ChoiceNames names, T usual = {}) {
    if (value != usual) Choice(key, value, names);
  }

  Json Take() { return std::move(object_); }

 private:
  Json object_ = Json::Object();
};

class FactReader {
 public:
  /// Throws BadInput when `json` is not an object.
  FactReader(const Json& json, std::string path);

  template <class T>
  void Fact(const char* key, T&& value) {
    if (const Json* json = Find(key)) FromJson(*json, PathOf(key), value);
  }
  template <class T>
  void Required(const char* key, T&& value) {
    FromJson(Demand(key), PathOf(key), value);
  }
  template <class T, class Usual = int>
  void Unusual(const char* key, T&& value, const Usual& = {}) {
    Fact(key, value);
  }
  template <class Item, class Map>
  void List(const char* key, Map& map) {
    const Json* json = Find(key);
    if (json == nullptr) return;
    std::vector<Item> items;
    FromJson(*json, PathOf(key), items);
    map.clear();
    for (std::size_t i = 0; i < items.size(); ++i) {
      if (!map.emplace(items[i].key, items[i].value).second) {
        throw BadInput(PathOfElement(PathOf(key), i), "appears twice");
      }
    }
  }
  template <class Item, class Map>
  void UnusualList(const char* key, Map& map) {
    List<Item>(key, map);
  }
  template <class T>
  void Choice(const char* key, T& value, ChoiceNames names) {
    if (const Json* json = Find(key)) {
      value = static_cast<T>(ReadChoice(*json, PathOf(key), names));
    }
  }

  template <class T>
  void RequiredChoice(const char* key, T& value, ChoiceNames names) {
    value = static_cast<T>(ReadChoice(Demand(key), PathOf(key), names));
  }

  template <class T>
  void UnusualChoice(const char* key, T& value, ChoiceNames names, T = {}) {
    Choice(key, value, names);
  }

  /// Whether the key is present.
  bool Has(const char* key) const { return json_.Find(key) != nullptr; }

  /// Throws BadInput for a key that no field asked for.
  void Finish() const;

  const std::string& Path() const { return path_; }
  std::string PathOf(const std::string& key) const;

 private:
  const Json* Find(const char* key);
  const Json& Demand(const char* key);
  static std::size_t ReadChoice(const Json& json, const std::string& path, ChoiceNames names);

  const Json& json_;
  std::string path_;
  std::set<std::string> known_;
};

// ------------------------------------------------------------------------------------------------

template <Described T>
Json ToJson(const T& record) {
  FactWriter facts;
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): a writer only reads
  Describe(facts, const_cast<T&>(record));
  return facts.Take();
}

template <class T>
Json ToJson(const std::optional<T>& value) {
  return value ? ToJson(*value) : Json(nullptr);
}

template <class T>
Json ToJson(const std::vector<T>& values) {
  Json list = Json::List();
  for (const T& value : values)
    list.push_back(ToJson(value));
  return list;
}

template <class T>
Json ToJson(const std::set<T>& values) {
  Json list = Json::List();
  for (const T& value : values)
    list.push_back(ToJson(value));
  return list;
}

template <class T>
Json ToJson(const platform::simulated::SharedList<T>& values) {
  return ToJson(values.Read());
}

template <Described T>
void FromJson(const Json& json, const std::string& path, T& record) {
  FactReader facts(json, path);
  Describe(facts, record);
  facts.Finish();
}

template <class T>
void FromJson(const Json& json, const std::string& path, std::optional<T>& value) {
  value.reset();
  if (json.As<std::nullptr_t>() == nullptr) FromJson(json, path, value.emplace());
}

template <class T>
void FromJson(const Json& json, const std::string& path, std::vector<T>& values) {
  values.clear();
  const Json::List& list = DemandList(json, path);
  for (std::size_t i = 0; i < list.size(); ++i)
    FromJson(list[i], PathOfElement(path, i), values.emplace_back());
}

template <class T>
void FromJson(const Json& json, const std::string& path,
              platform::simulated::SharedList<T>& values) {
  FromJson(json, path, values.Write());
}

template <class T>
void FromJson(const Json& json, const std::string& path, std::set<T>& values) {
  values.clear();
  const Json::List& list = DemandList(json, path);
  for (std::size_t i = 0; i < list.size(); ++i) {
    T value{};
    const std::string element = PathOfElement(path, i);
    FromJson(list[i], element, value);
    if (!values.insert(value).second) throw BadInput(element, "appears twice");
  }
}

}  // namespace vorn::lab

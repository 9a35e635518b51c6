#include "lab/json.h"

#include <algorithm>
#include <stdexcept>

namespace vorn::lab {

namespace {

bool IsMember(const Json& value) {
  const auto* const pair = value.As<Json::List>();
  return pair != nullptr && pair->size() == 2 && pair->front().As<std::string>() != nullptr;
}

}  // namespace

Json::Json(std::initializer_list<Json> values) {
  if (!std::all_of(values.begin(), values.end(), IsMember)) {
    value_ = List(values);
    return;
  }
  Object object;
  for (const Json& member : values)
    object.emplace_back(*member[0].As<std::string>(), member[1]);
  value_ = std::move(object);
}

const Json* Json::Find(std::string_view key) const {
  const auto* const object = As<Object>();
  if (object == nullptr) return nullptr;
  const auto found = std::find_if(object->begin(), object->end(),
                                  [key](const auto& member) { return member.first == key; });
  return found == object->end() ? nullptr : &found->second;
}

const Json& Json::operator[](std::string_view key) const {
  const Json* const member = Find(key);
  if (member == nullptr) throw std::out_of_range("no member " + std::string(key));
  return *member;
}

Json& Json::operator[](std::string_view key) {
  if (As<std::nullptr_t>() != nullptr) value_ = Object();
  auto& object = std::get<Object>(value_);
  const auto found = std::find_if(object.begin(), object.end(),
                                  [key](const auto& member) { return member.first == key; });
  return found != object.end() ? found->second : object.emplace_back(key, Json()).second;
}

}  // namespace vorn::lab

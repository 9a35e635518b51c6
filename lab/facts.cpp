#include "lab/facts.h"

#include "lab/near_word.h"

#include <algorithm>

namespace vorn::lab {

FactReader::FactReader(const Json& json, std::string path) : json_(json), path_(std::move(path)) {
  if (json.As<Json::Object>() == nullptr) throw BadInput(path_, "must be an object");
}

std::string FactReader::PathOf(const std::string& key) const {
  return path_.empty() ? key : path_ + "." + key;
}

const Json* FactReader::Find(const char* key) {
  known_.insert(key);
  return json_.Find(key);
}

const Json& FactReader::Demand(const char* key) {
  const Json* json = Find(key);
  if (json == nullptr) throw BadInput(PathOf(key), "is missing");
  return *json;
}

std::size_t FactReader::ReadChoice(const Json& json, const std::string& path, ChoiceNames names) {
  std::string allowed;
  if (const auto* const name = json.As<std::string>()) {
    const auto found = std::find(names.begin(), names.end(), *name);
    if (found != names.end()) return static_cast<std::size_t>(found - names.begin());
  }
  for (const char* const name : names)
    allowed += (allowed.empty() ? "\"" : ", \"") + std::string(name) + "\"";
  throw BadInput(path, "must be one of " + allowed);
}

void FactReader::Finish() const {
  for (const auto& [key, value] : *json_.As<Json::Object>()) {
    if (known_.contains(key)) continue;
    const std::vector<std::string_view> known(known_.begin(), known_.end());
    const std::string_view near = NearWord(key, known);
    throw BadInput(
        PathOf(key),
        "is not a known key" + (near.empty() ? "" : "; did you mean " + std::string(near) + "?"));
  }
}

const Json::List& DemandList(const Json& json, const std::string& path) {
  const auto* const list = json.As<Json::List>();
  if (list == nullptr) throw BadInput(path, "must be a list");
  return *list;
}

std::string PathOfElement(const std::string& path, std::size_t index) {
  return path + "[" + std::to_string(index) + "]";
}

}  // namespace vorn::lab

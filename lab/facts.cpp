#include "lab/facts.h"

#include <algorithm>

namespace vorn::lab {

FactReader::FactReader(const Json& json, std::string path) : json_(json), path_(std::move(path)) {
  if (!json.is_object()) throw BadInput(path_, "must be an object");
}

std::string FactReader::PathOf(const std::string& key) const {
  return path_.empty() ? key : path_ + "." + key;
}

const Json* FactReader::Find(const char* key) {
  known_.insert(key);
  const auto found = json_.find(key);
  return found == json_.end() ? nullptr : &*found;
}

const Json& FactReader::Demand(const char* key) {
  const Json* json = Find(key);
  if (json == nullptr) throw BadInput(PathOf(key), "is missing");
  return *json;
}

std::size_t FactReader::ReadChoice(const Json& json, const std::string& path, ChoiceNames names) {
  std::string allowed;
  if (json.is_string()) {
    const auto& name = json.get_ref<const std::string&>();
    const auto found = std::find(names.begin(), names.end(), name);
    if (found != names.end()) return static_cast<std::size_t>(found - names.begin());
  }
  for (const char* const name : names)
    allowed += (allowed.empty() ? "\"" : ", \"") + std::string(name) + "\"";
  throw BadInput(path, "must be one of " + allowed);
}

void FactReader::Finish() const {
  for (const auto& [key, value] : json_.items()) {
    if (!known_.contains(key)) throw BadInput(PathOf(key), "is no known key");
  }
}

const Json& DemandList(const Json& json, const std::string& path) {
  if (!json.is_array()) throw BadInput(path, "must be a list");
  return json;
}

std::string PathOfElement(const std::string& path, std::size_t index) {
  return path + "[" + std::to_string(index) + "]";
}

}  // namespace vorn::lab

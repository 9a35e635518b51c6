#pragma once

// A name must stand for one thing: the platform's calls tell things apart by their names alone.

#include "lab/facts.h"
#include "platform/simulated/upper_case.h"

#include <map>
#include <optional>
#include <string>

namespace vorn::lab {

/// Throws BadInput, with the path of the second one's key, when two things of a list have one name,
/// in whatever case. `nameOf` returns a thing's name, or nothing when it has none.
template <class List, class NameOf>
void RefuseTwins(const List& list, NameOf nameOf, const std::string& key, const std::string& path) {
  std::map<std::u16string, std::size_t> places;
  std::size_t i = 0;
  for (const auto& item : list) {
    const std::optional<std::u16string> name = nameOf(item);
    if (name) {
      const auto [place, isNew] = places.emplace(platform::simulated::ToUpperName(*name), i);
      if (!isNew) {
        throw BadInput(PathOfElement(path, i) + "." + key,
                       "is also the " + key + " of " + PathOfElement(path, place->second));
      }
    }
    ++i;
  }
}

}  // namespace vorn::lab

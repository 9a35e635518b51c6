#include "privileged_input/absolute_path.h"

#include "privileged_input/path_rules.h"

#include <string>
#include <vector>

namespace vorn {

bool IsAbsolutePath(std::u16string_view path) {
  std::vector<std::u16string> components;
  return privileged_input::ParseAbsolutePath(path, components);
}

std::u16string_view CutLastComponent(std::u16string_view path) {
  const std::size_t last = path.find_last_of(u"\\/");
  return last == std::u16string_view::npos ? std::u16string_view() : path.substr(0, last);
}

}  // namespace vorn

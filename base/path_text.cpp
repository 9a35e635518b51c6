#include "base/path_text.h"

namespace vorn {

constexpr std::u16string_view kSeparators = u"\\/";

std::u16string_view CutLastComponent(std::u16string_view path) {
  const std::size_t last = path.find_last_of(kSeparators);
  return last == std::u16string_view::npos ? std::u16string_view() : path.substr(0, last);
}

std::u16string_view FileNameComponent(std::u16string_view path) {
  const std::size_t last = path.find_last_of(kSeparators);
  return last == std::u16string_view::npos ? path : path.substr(last + 1);
}

std::u16string JoinPath(std::u16string_view folder, std::u16string_view name) {
  std::u16string path;
  path.reserve(folder.size() + 1 + name.size());
  path += folder;
  if (!path.ends_with(u'\\')) path += u'\\';
  return path += name;
}

}  // namespace vorn

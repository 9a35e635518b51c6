#include "privileged_input/absolute_path.h"

#include "privileged_input/path_rules.h"

#include <algorithm>

namespace vorn::privileged_input {

std::optional<AbsolutePath> AbsolutePath::Parse(std::u16string_view text) {
  AbsolutePath path;
  if (!ParseAbsolutePath(text, path.components_)) return std::nullopt;
  path.text_ = text;
  return path;
}

AbsolutePath AbsolutePath::Folder() const {
  AbsolutePath folder = *this;
  if (!folder.components_.empty()) folder.components_.pop_back();
  folder.text_.resize(std::max(text_.rfind(u'\\'), kDriveRootLength));
  return folder;
}

}  // namespace vorn::privileged_input

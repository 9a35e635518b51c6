#pragma once

// AbsolutePath: a path that is absolute on a drive letter and consists of safe names only, taken
// apart once, so that nobody behind the command line has to parse it again.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::privileged_input {

class AbsolutePath {
 public:
  /// Takes a path apart by the rules of ParseAbsolutePath. Nothing, with ERROR_INVALID_NAME as last
  /// error, when it breaks them. Looks at the text alone.
  static std::optional<AbsolutePath> Parse(std::u16string_view text);

  /// The path as it was given.
  const std::u16string& Text() const { return text_; }

  /// The drive letter as it was typed.
  char16_t DriveLetter() const { return text_.front(); }

  /// The names below the drive's root, outermost first; none for the root itself.
  const std::vector<std::u16string>& Components() const { return components_; }

  /// The last of the names; empty for the drive's root.
  std::u16string Name() const {
    return components_.empty() ? std::u16string() : components_.back();
  }

  /// The folder that holds what the path names; the drive's root for itself.
  AbsolutePath Folder() const;

 private:
  std::u16string text_;
  std::vector<std::u16string> components_;
};

}  // namespace vorn::privileged_input

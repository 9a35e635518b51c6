#pragma once

// AbsolutePath: an absolute path on a drive letter, made of safe names only. The type proves that
// the path was parsed.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::privileged_input {

class AbsolutePath {
 public:
  /// Parses a path by the rules of ParseAbsolutePath, without touching the disk. Nothing, with
  /// ERROR_INVALID_NAME as last error, if it breaks them.
  static std::optional<AbsolutePath> Parse(std::u16string_view text);

  /// The path as given.
  const std::u16string& Text() const { return text_; }

  /// The drive letter as given.
  char16_t DriveLetter() const { return text_.front(); }

  /// The names below the drive's root, outermost first; none for the root.
  const std::vector<std::u16string>& Components() const { return components_; }

  /// The last name; empty for the root.
  std::u16string Name() const {
    return components_.empty() ? std::u16string() : components_.back();
  }

  /// The parent folder; the root is its own parent.
  AbsolutePath Folder() const;

 private:
  std::u16string text_;
  std::vector<std::u16string> components_;
};

}  // namespace vorn::privileged_input

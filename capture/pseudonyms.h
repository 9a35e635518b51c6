#pragma once

// Pseudonyms: other names for users and accounts, the same one wherever a name appears, so that a
// capture tells who is who but not who they are.
//
// A user is known by the folder of the profile, the name below \Users\. An account is known by its
// SID; those that every machine has keep theirs.

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace vorn::capture {

class Pseudonyms {
 public:
  /// `raw` keeps every name.
  explicit Pseudonyms(bool raw) : raw_(raw) {}

  /// Remembers the user that a path names, so that every later text is free of that name. The
  /// path may start with a drive or at a volume's root.
  void Learn(std::u16string_view path);

  /// A path in which each name of a known user is replaced.
  std::u16string Path(std::u16string_view path) const;

  /// A text in which each known user's name that stands as a word is replaced.
  std::u16string Text(std::u16string_view text) const;

  /// S-1-5-21-1-2-3-1001 becomes S-1-5-21-1000000000-0-N-1001.
  std::u16string Sid(std::u16string_view sid);

 private:
  const std::u16string* Find(std::u16string_view name) const;

  bool raw_;
  std::map<std::u16string, std::u16string> users_;     // by upper-cased name
  std::map<std::u16string, std::size_t> authorities_;  // of SIDs, by text
  std::map<std::u16string, std::size_t> accounts_;     // relative ids, by whole SID
};

}  // namespace vorn::capture

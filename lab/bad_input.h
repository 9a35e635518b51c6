#pragma once

// BadInput: a person or a script gave the lab something wrong. The text is one line for standard
// error that names the argument or the key. Nothing has been changed.

#include <stdexcept>
#include <string>
#include <string_view>

namespace vorn::lab {

/// A text from outside as it can stand in a line for a terminal: a control character, such as a
/// line feed or the beginning of an escape sequence, becomes "\u000a".
std::string InOneLine(std::string_view text);

class BadInput : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;

  /// Wrong at a key of a document: "devices[0].problem: must be a whole number from 0 to
  /// 4294967295".
  BadInput(const std::string& keyPath, const std::string& what)
      : std::runtime_error(keyPath.empty() ? what : InOneLine(keyPath) + ": " + what) {}
};

/// Wrong at a file or folder of the host; its path is relative to the machine's folder.
class BadHostFile : public BadInput {
 public:
  using BadInput::BadInput;
};

}  // namespace vorn::lab
